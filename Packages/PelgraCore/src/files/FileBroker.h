#pragma once

#include "files/FileBytes.h"

#include <filesystem>

namespace Pelgra {

/// Stands for the file system in a process that must not have one: whoever started it opens its inputs and makes its
/// outputs. Safe from several threads.
class FileBroker {
public:
    virtual ~FileBroker() = default;

    /// A new descriptor for reading the input from its start, which the caller owns, or -1. Paths are names that
    /// mean something to the broker alone.
    virtual int openInput(const std::filesystem::path& input) = 0;

    /// What is known of where it is.
    virtual FilePlaces placesOf(const std::filesystem::path& input) = 0;

    /// A new descriptor for the output with that number, which the caller owns. Throws StorageError.
    virtual int openOutput(int number) = 0;

    /// Outputs with the numbers from 1 to this will belong together, in a folder.
    virtual void beginFolder(int files) = 0;

    /// All of that output is written. Throws StorageError when it cannot be kept.
    virtual void finishOutput(int number) = 0;
};

/// The broker of this process; null where the file system itself serves, which is the usual case.
FileBroker* fileBroker();

/// Set once, before any file is touched.
void setFileBroker(FileBroker* broker);

} // namespace Pelgra
