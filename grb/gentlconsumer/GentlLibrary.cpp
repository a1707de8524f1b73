#include "GentlLibrary.h"

#include "GentlError.h"

#include <dlfcn.h>

#include <cstring>

namespace grb::gentl {

namespace {

// More than any text or number an info query has to give.
constexpr size_t kInfoLimit = 64 * 1024;

std::string joined(const std::vector<std::string>& names)
{
    std::string text;
    for (const auto& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

std::string lastErrorText(PGCGetLastError getLastError)
{
    if (!getLastError)
        return std::string();
    GC_ERROR code = GC_ERR_SUCCESS;
    size_t size = 0;
    if (getLastError(&code, nullptr, &size) != GC_ERR_SUCCESS || size == 0 || size > kInfoLimit)
        return std::string();
    std::vector<char> text(size + 1, '\0');
    if (getLastError(&code, text.data(), &size) != GC_ERR_SUCCESS)
        return std::string();
    return std::string(text.data(), strnlen(text.data(), std::min(size, text.size() - 1)));
}

} // namespace

GentlLibrary::GentlLibrary(std::string path, std::chrono::milliseconds bound)
    : m_path(std::move(path))
    , m_caller(bound)
{
    const size_t slash = m_path.rfind('/');
    m_name = slash == std::string::npos ? m_path : m_path.substr(slash + 1);
}

std::shared_ptr<GentlLibrary> GentlLibrary::Load(const std::string& path, std::chrono::milliseconds bound,
                                                 std::string& error)
{
    std::shared_ptr<GentlLibrary> library(new GentlLibrary(path, bound));
    // Loading runs a library's own initialisers, which may hang as any call may.
    struct Loaded
    {
        void* handle = nullptr;
        std::string error;
    };
    auto loaded = std::make_shared<Loaded>();
    std::string busyIn;
    const GentlCaller::Outcome outcome = library->m_caller.Run(
        "dlopen",
        [loaded, path] {
            dlerror();
            loaded->handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
            if (!loaded->handle)
            {
                const char* why = dlerror();
                loaded->error = why ? why : "unknown reason";
            }
        },
        std::chrono::milliseconds(0), busyIn);
    if (outcome != GentlCaller::Outcome::Done)
    {
        library->_Outcome("loading", outcome, busyIn);
        error = GentlError::LastMessage();
        return nullptr;
    }
    if (!loaded->handle)
    {
        error = library->m_name + " does not load: " + loaded->error;
        return nullptr;
    }
    library->m_handle = loaded->handle;
    library->m_functions.Resolve(loaded->handle);
    const std::vector<std::string> missing = library->m_functions.MissingForControl();
    if (!missing.empty())
    {
        error = library->m_name + " is not a GenTL producer this layer can use: it lacks " + joined(missing);
        return nullptr;
    }
    library->m_missingForStreams = library->m_functions.MissingForStreams();

    const PGCInitLib initLib = library->m_functions.GCInitLib;
    const PGCCloseLib closeLib = library->m_functions.GCCloseLib;
    if (library->Call("GCInitLib", [initLib] { return initLib(); }, std::chrono::milliseconds(0),
                      [closeLib] { closeLib(); }) != GrbErrorSuccess)
    {
        error = GentlError::LastMessage();
        return nullptr;
    }
    library->m_initialised = true;

    // Producers before GenTL 1.5 cannot tell their version; they speak 1.x all the same.
    const PGCGetInfo getInfo = library->m_functions.GCGetInfo;
    int64_t major = 1;
    const GrbErrorType err = library->Integer("GCGetInfo", [getInfo](INFO_DATATYPE* t, void* b, size_t* s) {
        return getInfo(TL_INFO_GENTL_VER_MAJOR, t, b, s);
    }, major);
    if (err == GrbErrorTimeout)
    {
        error = GentlError::LastMessage();
        return nullptr;
    }
    if (err == GrbErrorSuccess && major != GENTL_VERSION_MAJOR)
    {
        error = library->m_name + " speaks GenTL " + std::to_string(major) + ".x; this layer speaks GenTL " +
                std::to_string(GENTL_VERSION_MAJOR) + ".x";
        return nullptr;
    }
    return library;
}

GentlLibrary::~GentlLibrary()
{
    const PGCCloseLib closeLib = m_functions.GCCloseLib;
    if (m_initialised && closeLib && !m_caller.Stuck())
        Call("GCCloseLib", [closeLib] { return closeLib(); });
    // Unloaded only once no call can be inside: a stuck one keeps the code mapped.
    if (m_handle && !m_caller.Stuck())
    {
        void* handle = m_handle;
        std::string busyIn;
        m_caller.Run("dlclose", [handle] { dlclose(handle); }, std::chrono::milliseconds(0), busyIn);
    }
}

GrbErrorType GentlLibrary::_Outcome(const std::string& function, GentlCaller::Outcome outcome, const std::string& busyIn)
{
    const std::string bound = std::to_string(m_caller.Bound().count()) + " ms";
    if (outcome == GentlCaller::Outcome::Stuck)
        return GentlError::Fail(GrbErrorTimeout, m_name + " has not returned from " + busyIn + " yet; " + function +
                                                     " was not called");
    return GentlError::Fail(GrbErrorTimeout, m_name + ": " + (busyIn == function ? function : busyIn) +
                                                 " did not return within " + bound);
}

GrbErrorType GentlLibrary::Call(const std::string& function, std::function<GC_ERROR()> call,
                                std::chrono::milliseconds extra, std::function<void()> undo)
{
    struct Result
    {
        GC_ERROR code = GC_ERR_SUCCESS;
        std::string text;
    };
    auto result = std::make_shared<Result>();
    const PGCGetLastError getLastError = m_functions.GCGetLastError;
    std::string busyIn;
    // The producer keeps its last error per thread: asked on the same one, at once.
    const GentlCaller::Outcome outcome = m_caller.Run(
        function,
        [call = std::move(call), result, getLastError] {
            result->code = call();
            if (result->code != GC_ERR_SUCCESS)
                result->text = lastErrorText(getLastError);
        },
        extra, busyIn,
        undo ? std::function<void()>([result, undo = std::move(undo)] {
            if (result->code == GC_ERR_SUCCESS)
                undo();
        })
             : nullptr);
    if (outcome != GentlCaller::Outcome::Done)
        return _Outcome(function, outcome, busyIn);
    if (result->code == GC_ERR_SUCCESS)
        return GrbErrorSuccess;
    return GentlError::Fail(GentlError::Code(result->code), m_name + ": " + function + " failed with " +
                                                                 GentlError::Name(result->code) +
                                                                 (result->text.empty() ? "" : " (" + result->text + ")"));
}

GrbErrorType GentlLibrary::Info(const std::string& function,
                                std::function<GC_ERROR(INFO_DATATYPE*, void*, size_t*)> query, INFO_DATATYPE& type,
                                std::vector<uint8_t>& value)
{
    struct Answer
    {
        INFO_DATATYPE type = INFO_DATATYPE_UNKNOWN;
        std::vector<uint8_t> value;
        bool implausible = false;
    };
    auto answer = std::make_shared<Answer>();
    const GrbErrorType err = Call(function, [query = std::move(query), answer]() -> GC_ERROR {
        size_t size = 0;
        GC_ERROR code = query(&answer->type, nullptr, &size);
        if (code != GC_ERR_SUCCESS)
            return code;
        if (size > kInfoLimit)
        {
            answer->implausible = true;
            return GC_ERR_SUCCESS;
        }
        // One byte more than asked for, should the producer write one more than it said.
        answer->value.assign(size + 1, 0);
        code = query(&answer->type, answer->value.data(), &size);
        answer->implausible = size > answer->value.size() - 1;
        answer->value.resize(std::min(size, answer->value.size() - 1));
        return code;
    });
    if (err != GrbErrorSuccess)
        return err;
    if (answer->implausible)
        return GentlError::Fail(GrbErrorTransportLayer, m_name + ": " + function + " gave a size it did not keep to");
    type = answer->type;
    value = std::move(answer->value);
    return GrbErrorSuccess;
}

GrbErrorType GentlLibrary::Text(const std::string& function,
                                std::function<GC_ERROR(INFO_DATATYPE*, void*, size_t*)> query, std::string& text)
{
    INFO_DATATYPE type = INFO_DATATYPE_UNKNOWN;
    std::vector<uint8_t> value;
    if (GrbErrorType err = Info(function, std::move(query), type, value))
        return err;
    if (type != INFO_DATATYPE_STRING && type != INFO_DATATYPE_BUFFER && type != INFO_DATATYPE_UNKNOWN)
        return GentlError::Fail(GrbErrorTransportLayer, m_name + ": " + function + " gave a number for a text");
    const auto* chars = reinterpret_cast<const char*>(value.data());
    text.assign(chars, strnlen(chars, value.size()));
    return GrbErrorSuccess;
}

GrbErrorType GentlLibrary::Integer(const std::string& function,
                                   std::function<GC_ERROR(INFO_DATATYPE*, void*, size_t*)> query, int64_t& number)
{
    INFO_DATATYPE type = INFO_DATATYPE_UNKNOWN;
    std::vector<uint8_t> value;
    if (GrbErrorType err = Info(function, std::move(query), type, value))
        return err;
    const bool isSigned = type == INFO_DATATYPE_INT16 || type == INFO_DATATYPE_INT32 || type == INFO_DATATYPE_INT64 ||
                          type == INFO_DATATYPE_PTRDIFF;
    const bool isUnsigned = type == INFO_DATATYPE_UINT16 || type == INFO_DATATYPE_UINT32 ||
                            type == INFO_DATATYPE_UINT64 || type == INFO_DATATYPE_SIZET || type == INFO_DATATYPE_BOOL8 ||
                            type == INFO_DATATYPE_PTR;
    const size_t size = value.size();
    if (!(isSigned || isUnsigned) || (size != 1 && size != 2 && size != 4 && size != 8))
        return GentlError::Fail(GrbErrorTransportLayer, m_name + ": " + function + " did not give a number");
    // In the host's order, as the producer wrote it.
    auto read = [&](auto narrow) {
        std::memcpy(&narrow, value.data(), sizeof narrow);
        return narrow;
    };
    switch (size)
    {
    case 1:
        number = isSigned ? read(int8_t()) : read(uint8_t());
        break;
    case 2:
        number = isSigned ? read(int16_t()) : read(uint16_t());
        break;
    case 4:
        number = isSigned ? int64_t(read(int32_t())) : int64_t(read(uint32_t()));
        break;
    default:
        number = read(int64_t());
        break;
    }
    return GrbErrorSuccess;
}

} // namespace grb::gentl
