#include "ProducerLibrary.h"

#include "ProducerError.h"

namespace vcam::gentl {

ProducerLibrary& ProducerLibrary::Instance()
{
    static ProducerLibrary library;
    return library;
}

GC_ERROR ProducerLibrary::Init()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_initialised)
        return ProducerError::Fail(GC_ERR_RESOURCE_IN_USE, "the library is initialised already");
    m_initialised = true;
    return GC_ERR_SUCCESS;
}

GC_ERROR ProducerLibrary::Close()
{
    std::shared_ptr<SystemModule> system;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_initialised)
            return ProducerError::Fail(GC_ERR_NOT_INITIALIZED, "the library is not initialised");
        m_initialised = false;
        system = std::move(m_system);
    }
    if (system)
        system->Close();
    m_registry.Clear();
    return GC_ERR_SUCCESS;
}

GC_ERROR ProducerLibrary::Check()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_initialised ? GC_ERR_SUCCESS
                         : ProducerError::Fail(GC_ERR_NOT_INITIALIZED, "GCInitLib has not been called");
}

GC_ERROR ProducerLibrary::_InvalidHandle()
{
    return ProducerError::Fail(GC_ERR_INVALID_HANDLE, "the handle is not one of this producer's, or no longer");
}

GC_ERROR ProducerLibrary::OpenSystem(TL_HANDLE* handle)
{
    if (!handle)
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, "no place for the handle");
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_initialised)
        return ProducerError::Fail(GC_ERR_NOT_INITIALIZED, "GCInitLib has not been called");
    if (m_system)
        return ProducerError::Fail(GC_ERR_RESOURCE_IN_USE, "the system module is open already");
    ProducerSettings settings;
    std::string error;
    if (!settings.Load(error))
        return ProducerError::Fail(GC_ERR_INVALID_PARAMETER, error);
    auto system = std::make_shared<SystemModule>(m_registry, std::move(settings));
    if (!system->Start(error))
        return ProducerError::Fail(GC_ERR_ERROR, error);
    m_system = system;
    m_registry.Add(system);
    *handle = system->Handle();
    return GC_ERR_SUCCESS;
}

GC_ERROR ProducerLibrary::CloseSystem(TL_HANDLE handle)
{
    std::shared_ptr<SystemModule> system;
    if (GC_ERROR err = Find(handle, Module::Kind::System, system))
        return err;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_system == system)
            m_system.reset();
    }
    system->Close();
    m_registry.Remove(handle);
    return GC_ERR_SUCCESS;
}

GC_ERROR ProducerLibrary::Find(void* handle, std::shared_ptr<Module>& module)
{
    if (GC_ERROR err = Check())
        return err;
    module = m_registry.Find(handle);
    return module ? GC_ERR_SUCCESS : _InvalidHandle();
}

GC_ERROR ProducerLibrary::FindPort(void* handle, std::shared_ptr<Module>& module, ModulePort*& port)
{
    if (GC_ERROR err = Find(handle, module))
        return err;
    port = module->Port();
    return port ? GC_ERR_SUCCESS : ProducerError::Fail(GC_ERR_NOT_IMPLEMENTED, "this module has no port");
}

} // namespace vcam::gentl
