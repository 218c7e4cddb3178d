#include "modules/ModuleLoader.h"

#include <filesystem>
#include <stdexcept>
#include <string>

#include <dlfcn.h>

namespace Pelgra {

std::filesystem::path moduleFolder()
{
    Dl_info self{};
    if (dladdr(reinterpret_cast<const void*>(&loadModule), &self) == 0 || !self.dli_fname)
        throw std::runtime_error("the library does not know its own place");
    return std::filesystem::path(self.dli_fname).parent_path();
}

const void* loadModule(const char* name)
{
    const std::filesystem::path file = moduleFolder() / ("libpelgra-" + std::string(name) + ".so");
    void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle)
        throw std::runtime_error(dlerror());
    const void* const table = dlsym(handle, "pelgraModule");
    if (!table)
        throw std::runtime_error(file.string() + " is no module of Pelgra");
    return table;
}

} // namespace Pelgra
