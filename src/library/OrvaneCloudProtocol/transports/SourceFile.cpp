#include <OrvaneCloudProtocol/transports/SourceFile.h>

#include <OrvaneCloudProtocol/transports/Job.h>
#include <support/BackgroundMd5.h>
#include <support/PartFile.h>
#include <support/PathText.h>

#include <algorithm>
#include <memory>

namespace Orvane::Social {

namespace {

constexpr qint64 kLargestPiece = qint64{64} * 1024;

FileSide OtherThan(FileSide side)
{
    return side == FileSide::Local ? FileSide::Cloud : FileSide::Local;
}

Support::Links LinksOn(FileSide side)
{
    return side == FileSide::Local ? Support::Links::Followed : Support::Links::NotFollowed;
}

CloudError NotAFile(const std::filesystem::path& path, FileSide side)
{
    return CloudError(side == FileSide::Local ? FailureCode::LocalDisk : FailureCode::NotFound,
                      Support::ToText(path) + QStringLiteral(": not a regular file"));
}

} // namespace

SourceFile::SourceFile(const std::filesystem::path& path, FileSide side)
    : m_path(RequiredFile(path, side))
    , m_side(side)
    , m_file(OnSide(side, [&] { return Support::InputFile(path, LinksOn(side)); }))
    , m_stamp(RequiredStamp())
{}

std::optional<Support::FileStamp> SourceFile::LookAt(const std::filesystem::path& path, FileSide side)
{
    return OnSide(side, [&] { return Support::LookAt(path, LinksOn(side)); });
}

/// Before it is opened, because that alone may have an effect on what is no regular file.
const std::filesystem::path& SourceFile::RequiredFile(const std::filesystem::path& path, FileSide side)
{
    if (LookAt(path, side)) {
        return path;
    }
    std::error_code ignored;
    if (!std::filesystem::exists(std::filesystem::symlink_status(path, ignored))) {
        ThrowFileError(side, path, std::make_error_code(std::errc::no_such_file_or_directory));
    }
    throw NotAFile(path, side);
}

/// Something else may have taken the file's place before it was opened.
Support::FileStamp SourceFile::RequiredStamp() const
{
    if (const auto stamp = OnSide(m_side, [this] { return m_file.Stamp(); })) {
        return *stamp;
    }
    throw NotAFile(m_path, m_side);
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
    return OnSide(m_side, [&] { return m_file.Read(buffer, size); });
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
