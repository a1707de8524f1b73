#ifndef VCAM_GENTL_MODULE_H
#define VCAM_GENTL_MODULE_H

#include <memory>

namespace vcam::gentl {

class ModulePort;

// One object a handle stands for. A handle is the module's address, looked up in the
// registry before use, so a stale or made-up handle finds nothing.
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

    explicit Module(Kind kind)
        : m_kind(kind)
    {
    }
    virtual ~Module() = default;
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    Kind GetKind() const { return m_kind; }
    void* Handle() { return this; }
    // The port the module's handle opens, null where it has none.
    virtual ModulePort* Port() { return nullptr; }

private:
    Kind m_kind;
};

} // namespace vcam::gentl

#endif
