#include "HandleRegistry.h"

namespace vcam::gentl {

void HandleRegistry::Add(const std::shared_ptr<Module>& module)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_modules[module->Handle()] = module;
}

void HandleRegistry::Remove(void* handle)
{
    std::shared_ptr<Module> last;
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_modules.find(handle);
    if (it == m_modules.end())
        return;
    // Destroyed after the lock is left: a module's destructor may remove its children.
    last = std::move(it->second);
    m_modules.erase(it);
}

std::shared_ptr<Module> HandleRegistry::Find(void* handle)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = handle ? m_modules.find(handle) : m_modules.end();
    return it == m_modules.end() ? nullptr : it->second;
}

void HandleRegistry::Clear()
{
    std::map<void*, std::shared_ptr<Module>> modules;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        modules.swap(m_modules);
    }
}

} // namespace vcam::gentl
