#ifndef VCAM_GENTL_HANDLEREGISTRY_H
#define VCAM_GENTL_HANDLEREGISTRY_H

#include "Module.h"

#include <map>
#include <memory>
#include <mutex>

namespace vcam::gentl {

// Every live handle of the producer. A call finds its module here and keeps it alive
// while it runs, so a module closed meanwhile is gone only once the call returns.
class HandleRegistry
{
public:
    void Add(const std::shared_ptr<Module>& module);
    void Remove(void* handle);
    std::shared_ptr<Module> Find(void* handle);
    template <class T>
    std::shared_ptr<T> Find(void* handle, Module::Kind kind)
    {
        std::shared_ptr<Module> module = Find(handle);
        return module && module->GetKind() == kind ? std::static_pointer_cast<T>(module) : nullptr;
    }
    void Clear();

private:
    std::mutex m_mutex;
    std::map<void*, std::shared_ptr<Module>> m_modules;
};

} // namespace vcam::gentl

#endif
