#include <OrvaneCloudHost/PictureFolder.h>

#include <support/PathText.h>
#include <support/TemporaryJournal.h>

#include <QBuffer>
#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>

#include <chrono>
#include <unordered_set>
#include <utility>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

namespace Orvane::PDF::Cloud {
namespace {

namespace fs = std::filesystem;

constexpr auto kSweptName = "swept"; // as old as the latest sweep
constexpr std::chrono::hours kSweepInterval{24};
constexpr char kSeparator = '-'; // of document and size

// An id can be longer than a file name.
std::string StemOf(const std::string& documentId)
{
    const auto hash =
        QCryptographicHash::hash(QByteArray::fromStdString(documentId), QCryptographicHash::Sha256);
    return hash.toHex().left(32).toStdString();
}

std::string NameOf(const std::string& documentId, FileInfo::PreviewSize size)
{
    return StemOf(documentId) + kSeparator + FileInfo::previewSizetoString(size) + ".png";
}

QByteArray PngOf(const QPixmap& picture)
{
    QBuffer png;
    return png.open(QIODevice::WriteOnly) && picture.save(&png, "PNG") ? png.data() : QByteArray();
}

bool IsOurs([[maybe_unused]] const fs::path& folder)
{
#ifdef Q_OS_UNIX
    return QFileInfo(Support::ToText(folder)).ownerId() == ::geteuid();
#else
    return true;
#endif
}

// Others may have put links into a folder that was open to them: no existing file is written to. A folder
// that is itself a link, or somebody else's, is refused.
void MakePrivate(const fs::path& folder)
{
    if (fs::symlink_status(folder).type() != fs::file_type::directory || !IsOurs(folder))
        throw fs::filesystem_error("not a folder of this user", folder,
                                   std::make_error_code(std::errc::permission_denied));
    fs::permissions(folder, fs::perms::owner_all);
}

// Fails when the file exists. Closing writes the last bytes, which can fail on a full disk.
bool IsWritten(const fs::path& path, const QByteArray& content)
{
    QFile file(Support::ToText(path));
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return false;
    const bool isPrivate = file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    const bool isWhole = file.write(content) == content.size();
    file.close();
    return isPrivate && isWhole && file.error() == QFile::NoError;
}

} // namespace

PictureFolder::PictureFolder(fs::path folder)
    : m_folder(std::move(folder))
{}

std::optional<ioPath> PictureFolder::Store(const std::string& documentId, FileInfo::PreviewSize size,
                                           const QPixmap& picture) const
{
    const auto png = PngOf(picture);
    if (png.isEmpty())
        return std::nullopt;
    const auto target = m_folder / NameOf(documentId, size);
    const auto part = m_folder / Support::NewTemporaryName();
    std::error_code error;
    try {
        fs::create_directories(m_folder);
        MakePrivate();
        if (IsWritten(part, png)) {
            fs::rename(part, target);
            return ioPath(target.u8string());
        }
    } catch (const fs::filesystem_error&) { // the caller reports the failure
    }
    fs::remove(part, error);
    return std::nullopt;
}

void PictureFolder::MakePrivate() const
{
    Cloud::MakePrivate(m_folder.parent_path());
    Cloud::MakePrivate(m_folder);
}

void PictureFolder::Remove(const std::string& documentId) const
{
    std::error_code ignored;
    for (const auto size :
         {FileInfo::PreviewSize::Small, FileInfo::PreviewSize::Medium, FileInfo::PreviewSize::Large})
        fs::remove(m_folder / NameOf(documentId, size), ignored);
}

void PictureFolder::SweepOnceADay(const std::vector<std::string>& documentIds) const
{
    const auto swept = m_folder / kSweptName;
    std::error_code error;
    const auto latestSweep = fs::last_write_time(swept, error);
    const bool isDue = error || fs::file_time_type::clock::now() - latestSweep > kSweepInterval;
    if (!isDue || !fs::is_directory(m_folder, error))
        return;
    try {
        MakePrivate();
    } catch (const fs::filesystem_error&) { // what lies there is not known to be ours
        return;
    }
    Sweep(documentIds); // also removes the old mark
    QFile(Support::ToText(swept)).open(QIODevice::WriteOnly | QIODevice::NewOnly);
}

void PictureFolder::Sweep(const std::vector<std::string>& documentIds) const
{
    std::unordered_set<std::string> stems;
    for (const auto& id : documentIds)
        stems.insert(StemOf(id));
    std::error_code error, ignored;
    for (auto entry = fs::directory_iterator(m_folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        const auto name = entry->path().filename().u8string();
        const bool isPart = entry->path().extension() == ".part"; // left by a crash
        if (isPart || stems.count(name.substr(0, name.find(kSeparator))) == 0)
            fs::remove(entry->path(), ignored);
    }
}

} // namespace Orvane::PDF::Cloud
