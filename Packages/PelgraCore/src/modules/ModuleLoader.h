#pragma once

#include <filesystem>

namespace Pelgra {

/// Where this library, its modules and its helper programs are. Throws std::runtime_error.
std::filesystem::path moduleFolder();

/// The table of functions that libpelgra-<name>.so, beside this library, exports as `pelgraModule`. Loaded at the first
/// call and kept; safe from several threads. Throws std::runtime_error when the module cannot be loaded.
const void* loadModule(const char* name);

/// One module's table, loaded once. `name` must be the same for every call with one Table.
template <typename Table>
const Table& module(const char* name)
{
    static const Table* const table = static_cast<const Table*>(loadModule(name));
    return *table;
}

} // namespace Pelgra

/// Placed in front of the definition of a module's table.
#define PELGRA_MODULE_EXPORT extern "C" __attribute__((visibility("default")))
