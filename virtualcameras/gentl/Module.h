#ifndef VCAM_GENTL_MODULE_H
#define VCAM_GENTL_MODULE_H

#include <memory>

namespace vcam::gentl {

class ModulePort;

// One object a handle stands for. A handle is a number never given out before, looked
// up in the registry before use, so a stale or made-up handle finds nothing (a module's
// address could be a later module's).
class Module : public std::enable_shared_from_this<Module>
{
public:
    enum class Kind
    {
        System,
        Interface,
        Device,
        RemoteDevice,
        Stream,
        Buffer,
        Event
    };

    explicit Module(Kind kind);
    virtual ~Module() = default;
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    Kind GetKind() const { return m_kind; }
    void* Handle() const { return m_handle; }
    // The port the module's handle opens, null where it has none.
    virtual ModulePort* Port() { return nullptr; }

private:
    Kind m_kind;
    void* m_handle;
};

} // namespace vcam::gentl

#endif
