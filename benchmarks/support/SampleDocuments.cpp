#include "support/SampleDocuments.h"

#include <QString>

#include <chrono>
#include <fstream>
#include <thread>

namespace Orvane::Benchmarks {
namespace {

namespace fs = std::filesystem;
using PDF::FileInfo;

constexpr std::chrono::milliseconds kSettlingTime{3100};

std::string Numbered(int number)
{
    return QStringLiteral("minutes of meeting %1").arg(number, 6, 10, QLatin1Char('0')).toStdString();
}

std::string HashLike(int number, int version)
{
    return QStringLiteral("%1%2")
        .arg(version, 16, 16, QLatin1Char('c'))
        .arg(number, 16, 16, QLatin1Char('0'))
        .toStdString();
}

ioPath PreviewPath(int number, int version, FileInfo::PreviewSize size)
{
    return ioPath("/tmp/" + Numbered(number) + ".pdf_" + FileInfo::previewSizetoString(size) +
                  std::to_string(version) + ".png");
}

} // namespace

fs::path NewFolder()
{
    static int number = 0;
    const auto folder = fs::temp_directory_path() / std::to_string(++number);
    fs::create_directory(folder);
    return fs::canonical(folder);
}

std::vector<fs::path> MakeFiles(const fs::path& folder, int count, std::uintmax_t bytes)
{
    std::vector<fs::path> files;
    for (int number = 0; number < count; ++number) {
        files.push_back(folder / (Numbered(number) + ".pdf"));
        std::ofstream(files.back()).close();
        fs::resize_file(files.back(), bytes);
    }
    return files;
}

void LetFilesSettle()
{
    std::this_thread::sleep_for(kSettlingTime);
}

Document MakeDocument(int number, int version, const fs::path& path)
{
    const auto day = QDateTime(QDate(2024, 1, 1), QTime(12, 0), Qt::UTC).addDays(number % 300);
    const auto name = Numbered(number) + (version == 0 ? ".pdf" : ", changed.pdf");
    FileInfo::CloudInfo cloudInfo(
        Numbered(number), name, 50'000ULL + version, version % 2 == 0,
        QUrl(QStringLiteral("https://cloud.example/%1/%2").arg(number).arg(version)), day.addSecs(version),
        day.addSecs(version + 60), 3600 + version, HashLike(number, version));
    for (const auto size :
         {FileInfo::PreviewSize::Small, FileInfo::PreviewSize::Medium, FileInfo::PreviewSize::Large})
        cloudInfo.SetPreviewPathBySize(PreviewPath(number, version, size), size);
    auto document = std::make_shared<FileInfo>(cloudInfo);
    document->SetPath(ioPath(path.u8string()), HashLike(number, version));
    return document;
}

std::vector<Document> MakeDocuments(int count, int version)
{
    std::vector<Document> documents;
    for (int number = 0; number < count; ++number) {
        const auto folder = fs::path("/nowhere") / std::to_string(version);
        documents.push_back(MakeDocument(number, version, folder / Numbered(number)));
    }
    return documents;
}

} // namespace Orvane::Benchmarks
