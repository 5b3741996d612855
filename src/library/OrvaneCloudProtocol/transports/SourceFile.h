#pragma once

#include <OrvaneCloudProtocol/transports/FileFailure.h>

#include <support/InputFile.h>

#include <filesystem>
#include <functional>

namespace Orvane::Support {
class PartFile;
}

namespace Orvane::Social {

class Job;

/// A regular file that is read from start to end, and that must not change meanwhile. Failures are
/// CloudErrors.
class SourceFile
{
public:
    /// A local path may be a symbolic link to a file; one in the cloud may not.
    SourceFile(const std::filesystem::path& path, FileSide side);

    [[nodiscard]] const Support::FileStamp& Stamp() const { return m_stamp; }
    [[nodiscard]] qint64 Size() const { return static_cast<qint64>(m_stamp.size); }

    /// Hands everything to @p sink, piece by piece, and returns the lower-case hexadecimal MD5 of it. Throws
    /// when the file has shrunk, grown, changed or gone meanwhile: what the sink has got is then worthless.
    using Sink = std::function<void(const char* data, std::size_t size)>;
    [[nodiscard]] QString ReadInto(const Sink& sink, Job& job);

    /// Copies everything into @p part, which lies on the other side, and finishes it. Returns as ReadInto.
    [[nodiscard]] QString CopyInto(Support::PartFile& part, Job& job);

    /// Copies as CopyInto, where nobody would compare the MD5, which takes longer than all the rest.
    void CopyUnhashedInto(Support::PartFile& part, Job& job);

private:
    void ReadPieces(const Sink& sink, Job& job);
    [[nodiscard]] Sink WritingInto(Support::PartFile& part) const;
    void Finish(Support::PartFile& part) const;
    [[nodiscard]] std::size_t Read(char* buffer, std::size_t size);
    [[nodiscard]] static std::optional<Support::FileStamp> LookAt(const std::filesystem::path& path,
                                                                  FileSide side);
    [[nodiscard]] static const std::filesystem::path& RequiredFile(const std::filesystem::path& path,
                                                                   FileSide side);
    [[nodiscard]] Support::FileStamp RequiredStamp() const;
    void RequireUnchanged(qint64 bytesRead) const;

    const std::filesystem::path m_path;
    const FileSide m_side;
    Support::InputFile m_file;
    const Support::FileStamp m_stamp; ///< of the file that is open
};

} // namespace Orvane::Social
