#pragma once

#include <FileInfo.h>

#include <QPixmap>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Orvane::PDF::Cloud {

/// The preview pictures of the documents of one list: PNG files in a folder that only the user can access.
/// The object must be the only writer there. Files are named by document and size, so a new picture replaces
/// the old one.
class PictureFolder
{
public:
    /// The folder is made when the first picture is stored. It and its parent are made private then and
    /// later; while one of them is a link, or belongs to another user, nothing is stored or swept.
    explicit PictureFolder(std::filesystem::path folder);

    /// The path of the stored picture; nothing when it could not be written whole.
    [[nodiscard]] std::optional<ioPath> Store(const std::string& documentId, FileInfo::PreviewSize size,
                                              const QPixmap& picture) const;

    void Remove(const std::string& documentId) const;

    /// Removes the pictures of all other documents and the temporary files of a crash, at most once a day.
    void SweepOnceADay(const std::vector<std::string>& documentIds) const;

private:
    void MakePrivate() const;
    void Sweep(const std::vector<std::string>& documentIds) const;

    const std::filesystem::path m_folder;
};

} // namespace Orvane::PDF::Cloud
