#include <OrvaneCloudHost/PictureCleaner.h>

#include <OrvaneCloud/OrvaneCloudFilesManager.h>
#include <OrvaneCloudHost/PictureFolder.h>

#include <utility>
#include <vector>

namespace Orvane::PDF::Cloud {
namespace {

std::vector<std::string> IdsIn(const OrvaneCloudFilesManager& documents)
{
    std::vector<std::string> ids;
    for (int row = 0; row < documents.FilesCount(); ++row)
        ids.push_back(documents.GetDocumentId(row).toStdString());
    return ids;
}

} // namespace

// Waits for the event loop, because a document may leave the list and return within one operation.
PictureCleaner::PictureCleaner(const OrvaneCloudFilesManager& documents, const PictureFolder& pictures)
    : m_documents(documents)
    , m_pictures(pictures)
{
    using Removed = void (AbstractFileManager::*)(const std::shared_ptr<const FileInfo>&);
    m_soon.setSingleShot(true);
    connect(&m_soon, &QTimer::timeout, this, [this] { RemovePicturesOf(std::exchange(m_justLeftIds, {})); });
    connect(&documents, static_cast<Removed>(&AbstractFileManager::FileRemoved), this,
            [this](const std::shared_ptr<const FileInfo>& document) {
                m_leftIds.insert(document->GetId());
                m_justLeftIds.insert(document->GetId());
                m_soon.start(0);
            });
}

// Previews that were requested before their document left may have arrived since.
PictureCleaner::~PictureCleaner()
{
    RemovePicturesOf(m_leftIds);
    m_pictures.SweepOnceADay(IdsIn(m_documents));
}

void PictureCleaner::RemovePicturesOf(const std::set<std::string>& ids) const
{
    for (const auto& id : ids) {
        if (!m_documents.GetFileInfo(QString::fromStdString(id)))
            m_pictures.Remove(id);
    }
}

} // namespace Orvane::PDF::Cloud
