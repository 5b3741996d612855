#include <OrvaneCloudProtocol/transports/LocalTarget.h>

#include <OrvaneCloudProtocol/transports/FileFailure.h>
#include <support/NumberedName.h>
#include <support/PartFile.h>
#include <support/PathText.h>

namespace Orvane::Social {

namespace {

namespace fs = std::filesystem;

using ExistingFile = Transport::ExistingFile;

fs::file_status StatusOf(const fs::path& path)
{
    std::error_code error;
    const auto status = fs::symlink_status(path, error);
    if (status.type() == fs::file_type::none) { // cannot be looked at, which is not the same as absent
        ThrowFileError(FileSide::Local, path, error);
    }
    return status;
}

CloudError NotAFile(const fs::path& path)
{
    return CloudError(FailureCode::LocalDisk,
                      Support::ToText(path) + QStringLiteral(": is not a regular file"));
}

CloudError Taken(const fs::path& path)
{
    return CloudError(FailureCode::Conflict, Support::ToText(path) + QStringLiteral(": is already there"));
}

/// A link is followed only to the regular file that is to be replaced.
fs::path ResolvedPath(const Transport::Download& download)
{
    const auto& path = download.target;
    if (download.existing != ExistingFile::Replace || !fs::is_symlink(StatusOf(path))) {
        return path;
    }
    std::error_code error;
    auto resolved = fs::canonical(path, error);
    if (error) {
        throw NotAFile(path);
    }
    return resolved;
}

void RequireReplaceable(const fs::path& path)
{
    const auto status = StatusOf(path);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        throw NotAFile(path);
    }
}

} // namespace

LocalTarget::LocalTarget(const Transport::Download& download)
    : m_existing(download.existing)
    , m_path(ResolvedPath(download))
{
    RequirePossible();
}

void LocalTarget::RequirePossible() const
{
    if (m_existing == ExistingFile::Replace) {
        RequireReplaceable(m_path);
    }
    if (m_existing == ExistingFile::Refuse && fs::exists(StatusOf(m_path))) {
        throw Taken(m_path);
    }
}

std::unique_ptr<Support::PartFile> LocalTarget::BeginPart(Support::TemporaryJournal& journal) const
{
    return OnSide(FileSide::Local, [&] {
        const bool isReplacing = m_existing == ExistingFile::Replace;
        const auto mostAllowed = isReplacing ? Support::PermissionsAt(m_path) : fs::perms::all;
        return std::make_unique<Support::PartFile>(m_path.parent_path(), journal, mostAllowed);
    });
}

fs::path LocalTarget::Publish(Support::PartFile& part, Job& job) const
{
    return OnSide(FileSide::Local, [&] {
        if (m_existing != ExistingFile::Replace) {
            return TakeFreeName(part, job);
        }
        Replace(part, job);
        return m_path;
    });
}

void LocalTarget::Replace(Support::PartFile& part, Job& job) const
{
    job.Commit([&] {
        RequireReplaceable(m_path);
        part.Replace(m_path);
    });
}

fs::path LocalTarget::TakeFreeName(Support::PartFile& part, Job& job) const
{
    const int names = m_existing == ExistingFile::KeepBoth ? Support::kMostNamesTried : 1;
    for (int number = 1; number <= names; ++number) {
        auto path = m_path.parent_path() / Support::NumberedName(m_path.filename().string(), number);
        if (job.Commit([&] { return part.BecomeNew(path); })) {
            return path;
        }
    }
    throw Taken(m_path);
}

} // namespace Orvane::Social
