#include <OrvaneCloudHost/PictureFolder.h>

#include <QBuffer>
#include <QCryptographicHash>

#include <chrono>
#include <fstream>
#include <unordered_set>
#include <utility>

namespace Orvane::PDF::Cloud {
namespace {

namespace fs = std::filesystem;

constexpr auto kSweptName = "swept"; // as old as the latest sweep
constexpr std::chrono::hours kSweepInterval{24};
constexpr auto kPartSuffix = ".part"; // while it is written
constexpr char kSeparator = '-';      // of document and size

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

bool IsWritten(const fs::path& file, const QByteArray& content)
{
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(content.constData(), content.size());
    stream.close(); // writes the last bytes, which can fail on a full disk
    return !stream.fail();
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
    auto part = target;
    part += kPartSuffix;
    std::error_code error;
    try {
        Make();
        if (IsWritten(part, png)) {
            fs::permissions(part, fs::perms::owner_read | fs::perms::owner_write);
            fs::rename(part, target);
            return ioPath(target.u8string());
        }
    } catch (const fs::filesystem_error&) { // the caller reports the failure
    }
    fs::remove(part, error);
    return std::nullopt;
}

void PictureFolder::Make() const
{
    if (fs::create_directories(m_folder))
        fs::permissions(m_folder, fs::perms::owner_all);
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
    std::error_code error;
    const auto latestSweep = fs::last_write_time(m_folder / kSweptName, error);
    const bool isDue = error || fs::file_time_type::clock::now() - latestSweep > kSweepInterval;
    if (!isDue || !fs::is_directory(m_folder, error))
        return;
    Sweep(documentIds);
    std::ofstream(m_folder / kSweptName);
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
        const bool isPart = entry->path().extension() == kPartSuffix;
        if (isPart || stems.count(name.substr(0, name.find(kSeparator))) == 0)
            fs::remove(entry->path(), ignored);
    }
}

} // namespace Orvane::PDF::Cloud
