#include <OrvaneCloudHost/LocalCopies.h>

namespace Orvane::PDF::Cloud {

std::vector<std::string> IdsWithLocalCopyAt(const ioPath& path, const AbstractFileManager& documents)
{
    std::vector<std::string> ids;
    const auto text = QString::fromStdString(path.utf8string());
    for (int row = 0; !text.isEmpty() && row < documents.FilesCount(); ++row) {
        if (documents.GetDocumentPath(row) == text)
            ids.push_back(documents.GetDocumentId(row).toStdString());
    }
    return ids;
}

} // namespace Orvane::PDF::Cloud
