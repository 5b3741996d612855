#pragma once

#include <OrvaneExport.h>

#include <stdexcept>
#include <string>

namespace Orvane::PDF::Cloud {

/// A record storage that cannot be opened. what() is a sentence for people, in English and UTF-8, that names
/// the file and the cause; nothing on disk has been changed.
class ORVANE_HOST_EXPORT StorageError : public std::runtime_error
{
public:
    enum class Reason
    {
        Locked,       ///< another process, or another object of this one, has it open
        NotWritable,  ///< the file or its folder cannot be made or written
        NewerVersion, ///< written by a later version, which this one would damage
        DiskFull,
        Unusable, ///< anything else, such as a folder in the file's place or a failing disk
    };

    StorageError(Reason reason, const std::string& message)
        : std::runtime_error(message)
        , m_reason(reason)
    {}

    [[nodiscard]] Reason GetReason() const noexcept { return m_reason; }

private:
    Reason m_reason;
};

} // namespace Orvane::PDF::Cloud
