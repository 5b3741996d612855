#pragma once

#include "ioPath.h"

#include <string>

namespace Orvane::PDF {

/// Content hashes of local files. Called on the thread of the manager that holds it.
class ORVANE_INTERFACES_EXPORT IHashCalculator
{
public:
    virtual ~IHashCalculator() = default;

    /// The MD5 of the file's content, in the form in which the cloud reports it (lower-case hexadecimal).
    /// Empty when there is no readable file; never fails.
    virtual std::string CalculateFileHash(const ioPath& path) = 0;
};

} // namespace Orvane::PDF
