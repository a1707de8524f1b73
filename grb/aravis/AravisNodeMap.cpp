#include "AravisNodeMap.h"

#include "AravisError.h"

#include <arv.h>

#include <cmath>
#include <vector>

namespace grb::aravis {

namespace {

// The order matters: an IntReg is also a register, a StringReg also a string.
GrbFeatureDataType typeOf(ArvGcNode* node)
{
    if (ARV_IS_GC_ENUMERATION(node))
        return GrbFeatureDataEnum;
    if (ARV_IS_GC_COMMAND(node))
        return GrbFeatureDataCommand;
    if (ARV_IS_GC_BOOLEAN(node))
        return GrbFeatureDataBool;
    if (ARV_IS_GC_CATEGORY(node))
        return GrbFeatureDataNone;
    if (ARV_IS_GC_STRING(node))
        return GrbFeatureDataString;
    if (ARV_IS_GC_INTEGER(node))
        return GrbFeatureDataInt;
    if (ARV_IS_GC_FLOAT(node))
        return GrbFeatureDataFloat;
    if (ARV_IS_GC_REGISTER(node))
        return GrbFeatureDataRaw;
    return GrbFeatureDataUnknown;
}

std::string nameOf(ArvGcFeatureNode* node)
{
    const char* name = arv_gc_feature_node_get_name(node);
    return name ? name : "";
}

GrbErrorType check(ArvGcFeatureNode* node, bool write, bool sessionWritable, bool& allowed)
{
    allowed = false;
    GError* error = nullptr;
    const bool implemented = arv_gc_feature_node_is_implemented(node, &error);
    if (error)
        return AravisError::Take(error);
    const bool available = implemented && arv_gc_feature_node_is_available(node, &error);
    if (error)
        return AravisError::Take(error);
    if (!available)
        return GrbErrorSuccess;
    // Not arv_device_get_feature_access_mode: it calls read-write features write-only.
    const ArvGcAccessMode mode = arv_gc_feature_node_get_actual_access_mode(node);
    if (!write)
    {
        allowed = mode != ARV_GC_ACCESS_MODE_WO;
        return GrbErrorSuccess;
    }
    if (!sessionWritable || mode == ARV_GC_ACCESS_MODE_RO)
        return GrbErrorSuccess;
    const bool locked = arv_gc_feature_node_is_locked(node, &error);
    if (error)
        return AravisError::Take(error);
    allowed = !locked;
    return GrbErrorSuccess;
}

// In the camera's own order: Aravis's entry list is reversed, the document is not.
GrbErrorType entriesOf(ArvGcFeatureNode* enumeration, std::vector<EnumEntryInfo>& entries)
{
    entries.clear();
    for (ArvDomNode* child = arv_dom_node_get_first_child(ARV_DOM_NODE(enumeration)); child;
         child = arv_dom_node_get_next_sibling(child))
    {
        if (!ARV_IS_GC_ENUM_ENTRY(child))
            continue;
        auto* entry = ARV_GC_FEATURE_NODE(child);
        EnumEntryInfo info;
        info.name = nameOf(entry);
        GError* error = nullptr;
        info.value = arv_gc_enum_entry_get_value(ARV_GC_ENUM_ENTRY(child), &error);
        if (error)
            return AravisError::Take(error);
        info.available = arv_gc_feature_node_is_implemented(entry, &error);
        if (!error && info.available)
            info.available = arv_gc_feature_node_is_available(entry, &error);
        if (error)
            return AravisError::Take(error);
        entries.push_back(std::move(info));
    }
    return GrbErrorSuccess;
}

// Register buffers are a whole number of 4-byte words: Aravis rounds transfers up.
std::vector<uint8_t> registerBuffer(uint64_t length)
{
    return std::vector<uint8_t>(static_cast<size_t>((length + 3) & ~uint64_t(3)), 0);
}

} // namespace

AravisNodeMap::AravisNodeMap(std::shared_ptr<AravisConnection> connection)
    : m_connection(std::move(connection))
{
}

GrbErrorType AravisNodeMap::_With(const std::string& name, GrbFeatureDataType type, Use use,
                                  const std::function<GrbErrorType(ArvGcFeatureNode*)>& f)
{
    const bool sessionWritable = m_connection->Writable();
    return m_connection->Run([&](ArvDevice* device, ArvCamera*) -> GrbErrorType {
        ArvGcNode* node = name.empty() ? nullptr : arv_device_get_feature(device, name.c_str());
        const GrbFeatureDataType actual = node ? typeOf(node) : GrbFeatureDataType(GrbFeatureDataUnknown);
        if (actual == GrbFeatureDataUnknown)
            return AravisError::Fail(GrbErrorNotFound, "no feature named " + name);
        if (type != GrbFeatureDataUnknown && actual != type)
            return AravisError::Fail(GrbErrorWrongType, name + " has another type");
        auto* feature = ARV_GC_FEATURE_NODE(node);
        if (use != Use::Describe)
        {
            bool allowed = false;
            GrbErrorType err = check(feature, use == Use::Write, sessionWritable, allowed);
            if (err != GrbErrorSuccess)
                return err;
            if (!allowed)
                return AravisError::Fail(GrbErrorInvalidAccess,
                                         name + (use == Use::Write ? " cannot be written now" : " cannot be read now"));
        }
        return f(feature);
    });
}

GrbErrorType AravisNodeMap::Info(const std::string& name, FeatureInfo& info)
{
    const bool sessionWritable = m_connection->Writable();
    return _With(name, GrbFeatureDataUnknown, Use::Describe, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        info.type = typeOf(ARV_GC_NODE(node));
        GrbErrorType err = check(node, false, sessionWritable, info.readable);
        if (err == GrbErrorSuccess)
            err = check(node, true, sessionWritable, info.writable);
        return err;
    });
}

GrbErrorType AravisNodeMap::GetInt(const std::string& name, int64_t& value)
{
    return _With(name, GrbFeatureDataInt, Use::Read, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        GError* error = nullptr;
        const int64_t v = arv_gc_integer_get_value(ARV_GC_INTEGER(node), &error);
        if (!error)
            value = v;
        return AravisError::Take(error);
    });
}

GrbErrorType AravisNodeMap::SetInt(const std::string& name, int64_t value)
{
    return _With(name, GrbFeatureDataInt, Use::Write, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        auto* integer = ARV_GC_INTEGER(node);
        GError* error = nullptr;
        const int64_t min = arv_gc_integer_get_min(integer, &error);
        const int64_t max = error ? 0 : arv_gc_integer_get_max(integer, &error);
        int64_t inc = error ? 0 : arv_gc_integer_get_inc(integer, &error);
        if (error)
            return AravisError::Take(error);
        if (inc < 1)
            inc = 1;
        if (value < min || value > max || (value - min) % inc != 0)
            return AravisError::Fail(GrbErrorInvalidValue, name + ": " + std::to_string(value) + " is out of range");
        arv_gc_integer_set_value(integer, value, &error);
        return AravisError::Take(error);
    });
}

GrbErrorType AravisNodeMap::GetIntRange(const std::string& name, int64_t& min, int64_t& max, int64_t& inc)
{
    return _With(name, GrbFeatureDataInt, Use::Describe, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        auto* integer = ARV_GC_INTEGER(node);
        GError* error = nullptr;
        const int64_t lo = arv_gc_integer_get_min(integer, &error);
        const int64_t hi = error ? 0 : arv_gc_integer_get_max(integer, &error);
        const int64_t step = error ? 0 : arv_gc_integer_get_inc(integer, &error);
        if (error)
            return AravisError::Take(error);
        min = lo;
        max = hi;
        inc = step < 1 ? 1 : step;
        return GrbErrorSuccess;
    });
}

GrbErrorType AravisNodeMap::GetFloat(const std::string& name, double& value)
{
    return _With(name, GrbFeatureDataFloat, Use::Read, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        GError* error = nullptr;
        const double v = arv_gc_float_get_value(ARV_GC_FLOAT(node), &error);
        if (!error)
            value = v;
        return AravisError::Take(error);
    });
}

GrbErrorType AravisNodeMap::SetFloat(const std::string& name, double value)
{
    return _With(name, GrbFeatureDataFloat, Use::Write, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        auto* number = ARV_GC_FLOAT(node);
        GError* error = nullptr;
        const double min = arv_gc_float_get_min(number, &error);
        const double max = error ? 0 : arv_gc_float_get_max(number, &error);
        const double inc = error ? 0 : arv_gc_float_get_inc(number, &error);
        if (error)
            return AravisError::Take(error);
        bool valid = !std::isnan(value) && value >= min && value <= max;
        // Aravis answers the smallest double for a float without an increment.
        if (valid && std::isfinite(inc) && inc > G_MINDOUBLE)
        {
            const double steps = (value - min) / inc;
            valid = std::fabs(steps - std::round(steps)) <= 1e-6;
        }
        if (!valid)
            return AravisError::Fail(GrbErrorInvalidValue, name + ": " + std::to_string(value) + " is out of range");
        arv_gc_float_set_value(number, value, &error);
        return AravisError::Take(error);
    });
}

GrbErrorType AravisNodeMap::GetFloatRange(const std::string& name, double& min, double& max, double& inc,
                                          bool& hasIncrement)
{
    return _With(name, GrbFeatureDataFloat, Use::Describe, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        auto* number = ARV_GC_FLOAT(node);
        GError* error = nullptr;
        const double lo = arv_gc_float_get_min(number, &error);
        const double hi = error ? 0 : arv_gc_float_get_max(number, &error);
        const double step = error ? 0 : arv_gc_float_get_inc(number, &error);
        if (error)
            return AravisError::Take(error);
        min = lo;
        max = hi;
        hasIncrement = std::isfinite(step) && step > G_MINDOUBLE;
        inc = hasIncrement ? step : 0.0;
        return GrbErrorSuccess;
    });
}

GrbErrorType AravisNodeMap::GetBool(const std::string& name, bool& value)
{
    return _With(name, GrbFeatureDataBool, Use::Read, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        GError* error = nullptr;
        const bool v = arv_gc_boolean_get_value(ARV_GC_BOOLEAN(node), &error);
        if (!error)
            value = v;
        return AravisError::Take(error);
    });
}

GrbErrorType AravisNodeMap::SetBool(const std::string& name, bool value)
{
    return _With(name, GrbFeatureDataBool, Use::Write, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        GError* error = nullptr;
        arv_gc_boolean_set_value(ARV_GC_BOOLEAN(node), value, &error);
        return AravisError::Take(error);
    });
}

GrbErrorType AravisNodeMap::GetEnum(const std::string& name, std::string& entry)
{
    return _With(name, GrbFeatureDataEnum, Use::Read, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        GError* error = nullptr;
        const char* v = arv_gc_enumeration_get_string_value(ARV_GC_ENUMERATION(node), &error);
        if (!error)
            entry = v ? v : "";
        return AravisError::Take(error);
    });
}

GrbErrorType AravisNodeMap::GetEnumInt(const std::string& name, int64_t& value)
{
    return _With(name, GrbFeatureDataEnum, Use::Read, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        GError* error = nullptr;
        const int64_t v = arv_gc_enumeration_get_int_value(ARV_GC_ENUMERATION(node), &error);
        if (!error)
            value = v;
        return AravisError::Take(error);
    });
}

GrbErrorType AravisNodeMap::_SetEntry(const std::string& name, const std::function<bool(const EnumEntryInfo&)>& match,
                                      const std::string& wanted)
{
    return _With(name, GrbFeatureDataEnum, Use::Write, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        std::vector<EnumEntryInfo> entries;
        GrbErrorType err = entriesOf(node, entries);
        if (err != GrbErrorSuccess)
            return err;
        for (const auto& entry : entries)
        {
            if (!match(entry))
                continue;
            if (!entry.available)
                break;
            GError* error = nullptr;
            arv_gc_enumeration_set_int_value(ARV_GC_ENUMERATION(node), entry.value, &error);
            return AravisError::Take(error);
        }
        return AravisError::Fail(GrbErrorInvalidValue, name + " has no available entry " + wanted);
    });
}

GrbErrorType AravisNodeMap::SetEnum(const std::string& name, const std::string& entry)
{
    return _SetEntry(
        name, [&](const EnumEntryInfo& e) { return e.name == entry; }, entry);
}

GrbErrorType AravisNodeMap::SetEnumInt(const std::string& name, int64_t value)
{
    return _SetEntry(
        name, [&](const EnumEntryInfo& e) { return e.value == value; }, std::to_string(value));
}

GrbErrorType AravisNodeMap::GetEnumEntries(const std::string& name, std::vector<EnumEntryInfo>& entries)
{
    return _With(name, GrbFeatureDataEnum, Use::Describe,
                 [&](ArvGcFeatureNode* node) -> GrbErrorType { return entriesOf(node, entries); });
}

GrbErrorType AravisNodeMap::GetString(const std::string& name, std::string& value)
{
    return _With(name, GrbFeatureDataString, Use::Read, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        GError* error = nullptr;
        const char* v = arv_gc_string_get_value(ARV_GC_STRING(node), &error);
        if (!error)
            value = v ? v : "";
        return AravisError::Take(error);
    });
}

GrbErrorType AravisNodeMap::SetString(const std::string& name, const std::string& value)
{
    return _With(name, GrbFeatureDataString, Use::Write, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        auto* text = ARV_GC_STRING(node);
        GError* error = nullptr;
        const int64_t maxLength = arv_gc_string_get_max_length(text, &error);
        if (error)
            return AravisError::Take(error);
        if (static_cast<int64_t>(value.size()) > maxLength)
            return AravisError::Fail(GrbErrorInvalidValue, name + " holds at most " + std::to_string(maxLength) +
                                                               " characters");
        arv_gc_string_set_value(text, value.c_str(), &error);
        return AravisError::Take(error);
    });
}

GrbErrorType AravisNodeMap::RunCommand(const std::string& name)
{
    return _With(name, GrbFeatureDataCommand, Use::Write, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        GError* error = nullptr;
        arv_gc_command_execute(ARV_GC_COMMAND(node), &error);
        return AravisError::Take(error);
    });
}

GrbErrorType AravisNodeMap::IsCommandDone(const std::string& name, bool& done)
{
    // Aravis has no completion query. A command is done once its pValue no longer
    // reads the CommandValue; one whose pValue cannot be read is done when written.
    return _With(name, GrbFeatureDataCommand, Use::Describe, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        ArvGcNode* target = nullptr;
        int64_t commandValue = 0;
        bool hasCommandValue = false;
        for (ArvDomNode* child = arv_dom_node_get_first_child(ARV_DOM_NODE(node)); child;
             child = arv_dom_node_get_next_sibling(child))
        {
            if (!ARV_IS_GC_PROPERTY_NODE(child))
                continue;
            auto* property = ARV_GC_PROPERTY_NODE(child);
            switch (arv_gc_property_node_get_node_type(property))
            {
            case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE:
                target = arv_gc_property_node_get_linked_node(property);
                break;
            case ARV_GC_PROPERTY_NODE_TYPE_COMMAND_VALUE:
            case ARV_GC_PROPERTY_NODE_TYPE_P_COMMAND_VALUE:
            {
                GError* error = nullptr;
                commandValue = arv_gc_property_node_get_int64(property, &error);
                if (error)
                    return AravisError::Take(error);
                hasCommandValue = true;
                break;
            }
            default:
                break;
            }
        }
        if (!target || !hasCommandValue || !ARV_IS_GC_INTEGER(target) ||
            (ARV_IS_GC_FEATURE_NODE(target) &&
             arv_gc_feature_node_get_actual_access_mode(ARV_GC_FEATURE_NODE(target)) == ARV_GC_ACCESS_MODE_WO))
        {
            done = true;
            return GrbErrorSuccess;
        }
        GError* error = nullptr;
        const int64_t value = arv_gc_integer_get_value(ARV_GC_INTEGER(target), &error);
        if (error)
            return AravisError::Take(error);
        done = value != commandValue;
        return GrbErrorSuccess;
    });
}

GrbErrorType AravisNodeMap::GetRawLength(const std::string& name, uint32_t& length)
{
    return _With(name, GrbFeatureDataRaw, Use::Describe, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        GError* error = nullptr;
        const uint64_t size = arv_gc_register_get_length(ARV_GC_REGISTER(node), &error);
        if (!error)
            length = static_cast<uint32_t>(size);
        return AravisError::Take(error);
    });
}

GrbErrorType AravisNodeMap::GetRaw(const std::string& name, uint8_t* buffer, uint32_t& length)
{
    return _With(name, GrbFeatureDataRaw, Use::Read, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        auto* reg = ARV_GC_REGISTER(node);
        GError* error = nullptr;
        const uint64_t size = arv_gc_register_get_length(reg, &error);
        if (error)
            return AravisError::Take(error);
        std::vector<uint8_t> whole = registerBuffer(size);
        if (size > 0)
            arv_gc_register_get(reg, whole.data(), size, &error);
        if (error)
            return AravisError::Take(error);
        length = static_cast<uint32_t>(std::min<uint64_t>(length, size));
        if (length > 0)
            std::copy(whole.begin(), whole.begin() + length, buffer);
        return GrbErrorSuccess;
    });
}

GrbErrorType AravisNodeMap::SetRaw(const std::string& name, const uint8_t* buffer, uint32_t length)
{
    if (length > 0 && !buffer)
        return GrbErrorBadParameter;
    return _With(name, GrbFeatureDataRaw, Use::Write, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        auto* reg = ARV_GC_REGISTER(node);
        GError* error = nullptr;
        const uint64_t size = arv_gc_register_get_length(reg, &error);
        if (error)
            return AravisError::Take(error);
        if (length > size)
            return AravisError::Fail(GrbErrorInvalidValue, name + " holds " + std::to_string(size) + " bytes");
        // Aravis always writes the register's whole length: a short write is padded.
        std::vector<uint8_t> whole = registerBuffer(size);
        std::copy(buffer, buffer + length, whole.begin());
        arv_gc_register_set(reg, whole.data(), size, &error);
        return AravisError::Take(error);
    });
}

} // namespace grb::aravis
