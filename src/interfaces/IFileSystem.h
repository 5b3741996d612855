#pragma once

#include "ioPath.h"

namespace Orvane::PDF {

/// Questions about local files and paths. Called on the thread of the manager that holds it.
class ORVANE_INTERFACES_EXPORT IFileSystem
{
public:
    virtual ~IFileSystem() = default;

    /// Whether a file exists at the path; false for an empty path.
    virtual bool Exists(const ioPath& path) = 0;

    /// The one form that all texts naming the same file share. A file need not exist to have one; the empty
    /// path's is empty.
    virtual ioPath NormalizePath(const ioPath& path) = 0;
};

} // namespace Orvane::PDF
