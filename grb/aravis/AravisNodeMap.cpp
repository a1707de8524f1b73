#include "AravisNodeMap.h"

#include "AravisError.h"

#include <arv.h>

#include <algorithm>
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

// Availability, implementation and lock are expressions over other features, asked
// once for both directions.
GrbErrorType accessOf(ArvGcFeatureNode* node, bool sessionWritable, bool& readable, bool& writable)
{
    readable = false;
    writable = false;
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
    readable = mode != ARV_GC_ACCESS_MODE_WO;
    if (!sessionWritable || mode == ARV_GC_ACCESS_MODE_RO)
        return GrbErrorSuccess;
    const bool locked = arv_gc_feature_node_is_locked(node, &error);
    if (error)
        return AravisError::Take(error);
    writable = !locked;
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

// Aravis always writes the register's whole length: a short write is padded.
GrbErrorType setRegister(ArvGcRegister* reg, const uint8_t* bytes, size_t length)
{
    GError* error = nullptr;
    const uint64_t size = arv_gc_register_get_length(reg, &error);
    if (error)
        return AravisError::Take(error);
    if (length == size && size % 4 == 0)
    {
        arv_gc_register_set(reg, bytes, size, &error);
        return AravisError::Take(error);
    }
    std::vector<uint8_t> whole = registerBuffer(size);
    std::copy(bytes, bytes + std::min<size_t>(length, whole.size()), whole.begin());
    arv_gc_register_set(reg, whole.data(), size, &error);
    return AravisError::Take(error);
}

} // namespace

AravisNodeMap::AravisNodeMap(std::shared_ptr<AravisConnection> connection)
    : m_connection(std::move(connection))
{
}

GrbErrorType AravisNodeMap::_With(const std::string& name, const std::function<GrbErrorType(ArvGcFeatureNode*)>& f)
{
    return m_connection->Run([&](ArvDevice* device, ArvCamera*) -> GrbErrorType {
        ArvGcNode* node = name.empty() ? nullptr : arv_device_get_feature(device, name.c_str());
        if (!node || typeOf(node) == GrbFeatureDataUnknown)
            return AravisError::Fail(GrbErrorNotFound, "no feature named " + name);
        return f(ARV_GC_FEATURE_NODE(node));
    });
}

GrbErrorType AravisNodeMap::Describe(const std::string& name, unsigned details, FeatureDescription& d)
{
    const bool sessionWritable = m_connection->Writable();
    return _With(name, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        d = FeatureDescription();
        d.type = typeOf(ARV_GC_NODE(node));
        if (details & FeatureDescription::TypeOnly)
            return GrbErrorSuccess;
        if (GrbErrorType err = accessOf(node, sessionWritable, d.readable, d.writable))
            return err;
        GError* error = nullptr;
        if (details & FeatureDescription::Limits)
        {
            if (d.type == GrbFeatureDataInt)
            {
                auto* integer = ARV_GC_INTEGER(node);
                d.intMin = arv_gc_integer_get_min(integer, &error);
                d.intMax = error ? 0 : arv_gc_integer_get_max(integer, &error);
                const int64_t inc = error ? 1 : arv_gc_integer_get_inc(integer, &error);
                d.intInc = inc < 1 ? 1 : inc;
            }
            else if (d.type == GrbFeatureDataFloat)
            {
                auto* number = ARV_GC_FLOAT(node);
                d.floatMin = arv_gc_float_get_min(number, &error);
                d.floatMax = error ? 0 : arv_gc_float_get_max(number, &error);
                double inc = 0;
                if (!error)
                {
                    inc = arv_gc_float_get_inc(number, &error);
                    // A float without an increment: Aravis answers the smallest double for
                    // some nodes and an error of the description for a plain Float node.
                    if (error && error->domain == ARV_GC_ERROR)
                        g_clear_error(&error);
                }
                d.hasFloatInc = std::isfinite(inc) && inc > G_MINDOUBLE;
                d.floatInc = d.hasFloatInc ? inc : 0.0;
            }
            else if (d.type == GrbFeatureDataString)
                d.length = static_cast<uint32_t>(arv_gc_string_get_max_length(ARV_GC_STRING(node), &error));
            else if (d.type == GrbFeatureDataRaw)
                d.length = static_cast<uint32_t>(arv_gc_register_get_length(ARV_GC_REGISTER(node), &error));
        }
        if (error)
            return AravisError::Take(error);
        if ((details & FeatureDescription::Entries) && d.type == GrbFeatureDataEnum)
            return entriesOf(node, d.entries);
        return GrbErrorSuccess;
    });
}

GrbErrorType AravisNodeMap::Read(const std::string& name, GrbFeatureDataType type, FeatureValue& value)
{
    return _With(name, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        GError* error = nullptr;
        switch (type)
        {
        case GrbFeatureDataInt:
            value.integer = arv_gc_integer_get_value(ARV_GC_INTEGER(node), &error);
            break;
        case GrbFeatureDataFloat:
            value.real = arv_gc_float_get_value(ARV_GC_FLOAT(node), &error);
            break;
        case GrbFeatureDataBool:
            value.boolean = arv_gc_boolean_get_value(ARV_GC_BOOLEAN(node), &error);
            break;
        case GrbFeatureDataEnum:
            value.integer = arv_gc_enumeration_get_int_value(ARV_GC_ENUMERATION(node), &error);
            break;
        case GrbFeatureDataString: {
            const char* text = arv_gc_string_get_value(ARV_GC_STRING(node), &error);
            value.text = text ? text : "";
            break;
        }
        case GrbFeatureDataRaw: {
            auto* reg = ARV_GC_REGISTER(node);
            const uint64_t size = arv_gc_register_get_length(reg, &error);
            if (error)
                break;
            value.bytes = registerBuffer(size);
            if (size > 0)
                arv_gc_register_get(reg, value.bytes.data(), size, &error);
            value.bytes.resize(static_cast<size_t>(size));
            break;
        }
        default:
            return GrbErrorWrongType;
        }
        return AravisError::Take(error);
    });
}

GrbErrorType AravisNodeMap::Write(const std::string& name, GrbFeatureDataType type, const FeatureValue& value)
{
    return _With(name, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        GError* error = nullptr;
        switch (type)
        {
        case GrbFeatureDataInt:
            arv_gc_integer_set_value(ARV_GC_INTEGER(node), value.integer, &error);
            break;
        case GrbFeatureDataFloat:
            arv_gc_float_set_value(ARV_GC_FLOAT(node), value.real, &error);
            break;
        case GrbFeatureDataBool:
            arv_gc_boolean_set_value(ARV_GC_BOOLEAN(node), value.boolean, &error);
            break;
        case GrbFeatureDataEnum:
            arv_gc_enumeration_set_int_value(ARV_GC_ENUMERATION(node), value.integer, &error);
            break;
        case GrbFeatureDataString:
            arv_gc_string_set_value(ARV_GC_STRING(node), value.text.c_str(), &error);
            break;
        case GrbFeatureDataRaw:
            return setRegister(ARV_GC_REGISTER(node), value.bytes.data(), value.bytes.size());
        default:
            return GrbErrorWrongType;
        }
        return AravisError::Take(error);
    });
}

GrbErrorType AravisNodeMap::ReadRaw(const std::string& name, uint8_t* buffer, uint32_t capacity, uint32_t& length)
{
    return _With(name, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        auto* reg = ARV_GC_REGISTER(node);
        GError* error = nullptr;
        const uint64_t size = arv_gc_register_get_length(reg, &error);
        if (error)
            return AravisError::Take(error);
        // Aravis hands out the whole register only: into the caller's bytes when they hold it.
        if (size <= capacity)
        {
            if (size > 0)
                arv_gc_register_get(reg, buffer, size, &error);
            length = static_cast<uint32_t>(size);
            return AravisError::Take(error);
        }
        std::vector<uint8_t> whole = registerBuffer(size);
        arv_gc_register_get(reg, whole.data(), size, &error);
        if (error)
            return AravisError::Take(error);
        std::copy(whole.begin(), whole.begin() + capacity, buffer);
        length = capacity;
        return GrbErrorSuccess;
    });
}

GrbErrorType AravisNodeMap::WriteRaw(const std::string& name, const uint8_t* bytes, uint32_t length)
{
    return _With(name, [&](ArvGcFeatureNode* node) { return setRegister(ARV_GC_REGISTER(node), bytes, length); });
}

GrbErrorType AravisNodeMap::Execute(const std::string& name)
{
    return _With(name, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        GError* error = nullptr;
        arv_gc_command_execute(ARV_GC_COMMAND(node), &error);
        return AravisError::Take(error);
    });
}

GrbErrorType AravisNodeMap::IsDone(const std::string& name, bool& done)
{
    // Aravis has no completion query. A command is done once its pValue no longer
    // reads the CommandValue; one whose pValue cannot be read is done when written.
    return _With(name, [&](ArvGcFeatureNode* node) -> GrbErrorType {
        if (!ARV_IS_GC_COMMAND(node))
            return GrbErrorWrongType;
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

} // namespace grb::aravis
