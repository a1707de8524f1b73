#ifndef VCAM_GENTL_PRODUCERLIBRARY_H
#define VCAM_GENTL_PRODUCERLIBRARY_H

#include "HandleRegistry.h"
#include "ModulePort.h"
#include "SystemModule.h"

#include <memory>
#include <mutex>

namespace vcam::gentl {

// The state of the loaded producer between GCInitLib and GCCloseLib: the one system
// module and every handle given out.
class ProducerLibrary
{
public:
    static ProducerLibrary& Instance();

    GC_ERROR Init();
    GC_ERROR Close();
    // GC_ERR_NOT_INITIALIZED outside GCInitLib ... GCCloseLib.
    GC_ERROR Check();

    GC_ERROR OpenSystem(TL_HANDLE* handle);
    GC_ERROR CloseSystem(TL_HANDLE handle);

    template <class T>
    GC_ERROR Find(void* handle, Module::Kind kind, std::shared_ptr<T>& module)
    {
        if (GC_ERROR err = Check())
            return err;
        module = m_registry.Find<T>(handle, kind);
        return module ? GC_ERR_SUCCESS : _InvalidHandle();
    }
    GC_ERROR Find(void* handle, std::shared_ptr<Module>& module);
    // Takes a closed module's handle away.
    void Forget(void* handle) { m_registry.Remove(handle); }
    // Any module whose handle opens a port.
    GC_ERROR FindPort(void* handle, std::shared_ptr<Module>& module, ModulePort*& port);

private:
    GC_ERROR _InvalidHandle();

    std::mutex m_mutex;
    bool m_initialised = false;
    std::shared_ptr<SystemModule> m_system;
    HandleRegistry m_registry;
};

} // namespace vcam::gentl

#endif
