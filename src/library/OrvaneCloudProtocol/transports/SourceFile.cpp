#include <OrvaneCloudProtocol/transports/SourceFile.h>

#include <OrvaneCloudProtocol/transports/Job.h>
#include <support/BackgroundMd5.h>
#include <support/PartFile.h>
#include <support/PathText.h>

#include <algorithm>
#include <cerrno>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <unistd.h>
#endif

namespace Orvane::Social {

namespace {

constexpr qint64 kLargestPiece = qint64{64} * 1024;

FileSide OtherThan(FileSide side)
{
    return side == FileSide::Local ? FileSide::Cloud : FileSide::Local;
}

std::FILE* OpenForReading(const std::filesystem::path& path, [[maybe_unused]] FileSide side)
{
#ifdef Q_OS_UNIX
    // Not blocking, because a pipe may have taken the file's place by now; a link out of the cloud's folder
    // too.
    const int links = side == FileSide::Cloud ? O_NOFOLLOW : 0;
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | links);
    std::FILE* file = descriptor < 0 ? nullptr : ::fdopen(descriptor, "rb");
#elif defined(Q_OS_WIN)
    std::FILE* file = _wfopen(path.c_str(), L"rb");
#else
    std::FILE* file = std::fopen(path.string().c_str(), "rb");
#endif
    if (!file) {
        ThrowFileError(side, path, std::error_code(errno, std::generic_category()));
    }
    std::setvbuf(file, nullptr, _IONBF, 0);
    return file;
}

} // namespace

SourceFile::SourceFile(const std::filesystem::path& path, FileSide side)
    : m_path(path)
    , m_side(side)
    , m_stamp(RequiredStamp(path, side))
    , m_file(OpenForReading(path, side))
{}

std::optional<Support::FileStamp> SourceFile::LookAt(const std::filesystem::path& path, FileSide side)
{
    const auto links = side == FileSide::Local ? Support::Links::Followed : Support::Links::NotFollowed;
    return OnSide(side, [&] { return Support::LookAt(path, links); });
}

Support::FileStamp SourceFile::RequiredStamp(const std::filesystem::path& path, FileSide side)
{
    if (const auto stamp = LookAt(path, side)) {
        return *stamp;
    }
    std::error_code ignored;
    if (!std::filesystem::exists(std::filesystem::symlink_status(path, ignored))) {
        ThrowFileError(side, path, std::make_error_code(std::errc::no_such_file_or_directory));
    }
    throw CloudError(side == FileSide::Local ? FailureCode::LocalDisk : FailureCode::NotFound,
                     Support::ToText(path) + QStringLiteral(": not a regular file"));
}

QString SourceFile::ReadInto(const Sink& sink, Job& job)
{
    Support::BackgroundMd5 md5;
    const auto hashAndPassOn = [&](const char* data, std::size_t size) {
        md5.Add(data, size);
        sink(data, size);
    };
    ReadPieces(hashAndPassOn, job);
    return QString::fromStdString(Support::ToHex(md5.Result()));
}

void SourceFile::ReadPieces(const Sink& sink, Job& job)
{
    const auto room = static_cast<std::size_t>(std::min(Size() + 1, kLargestPiece));
    const std::unique_ptr<char[]> buffer(new char[room]);
    qint64 done = 0;
    job.ReportProgress(done, Size());
    while (done <= Size()) {
        job.ThrowIfCanceled();
        const auto count = Read(buffer.get(), room);
        if (count == 0) {
            break;
        }
        sink(buffer.get(), count);
        done += static_cast<qint64>(count);
        job.ReportProgress(done, Size());
    }
    RequireUnchanged(done);
}

QString SourceFile::CopyInto(Support::PartFile& part, Job& job)
{
    const QString md5 = ReadInto(WritingInto(part), job);
    Finish(part);
    return md5;
}

void SourceFile::CopyUnhashedInto(Support::PartFile& part, Job& job)
{
    ReadPieces(WritingInto(part), job);
    Finish(part);
}

SourceFile::Sink SourceFile::WritingInto(Support::PartFile& part) const
{
    return [this, &part](const char* data, std::size_t size) {
        OnSide(OtherThan(m_side), [&] { part.Write(data, size); });
    };
}

void SourceFile::Finish(Support::PartFile& part) const
{
    OnSide(OtherThan(m_side), [&] { part.Finish(); });
}

std::size_t SourceFile::Read(char* buffer, std::size_t size)
{
    errno = 0;
    const auto count = std::fread(buffer, 1, size, m_file.get());
    if (std::ferror(m_file.get()) != 0) {
        ThrowFileError(m_side, m_path, std::error_code(errno, std::generic_category()));
    }
    return count;
}

void SourceFile::RequireUnchanged(qint64 bytesRead) const
{
    const auto now = LookAt(m_path, m_side);
    const bool isSame = now && now->device == m_stamp.device && Support::IsSameVersion(*now, m_stamp);
    if (!isSame || bytesRead != Size()) {
        throw CloudError(m_side == FileSide::Local ? FailureCode::LocalDisk : FailureCode::Conflict,
                         Support::ToText(m_path) + QStringLiteral(": has changed while it was read"));
    }
}

} // namespace Orvane::Social
