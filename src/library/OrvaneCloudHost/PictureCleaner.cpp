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

// Not at once: a document may leave the list only to come back in another form.
PictureCleaner::PictureCleaner(const OrvaneCloudFilesManager& documents, const PictureFolder& pictures)
    : m_documents(documents)
    , m_pictures(pictures)
{
    using Removed = void (AbstractFileManager::*)(const std::shared_ptr<const FileInfo>&);
    m_soon.setSingleShot(true);
    connect(&m_soon, &QTimer::timeout, this, &PictureCleaner::RemovePicturesOfLeft);
    connect(&documents, static_cast<Removed>(&AbstractFileManager::FileRemoved), this,
            [this](const std::shared_ptr<const FileInfo>& document) {
                m_leftIds.insert(document->GetId());
                m_soon.start(0);
            });
}

PictureCleaner::~PictureCleaner()
{
    RemovePicturesOfLeft();
    m_pictures.SweepOnceADay(IdsIn(m_documents));
}

void PictureCleaner::RemovePicturesOfLeft()
{
    for (const auto& id : std::exchange(m_leftIds, {})) {
        if (!m_documents.GetFileInfo(QString::fromStdString(id)))
            m_pictures.Remove(id);
    }
}

} // namespace Orvane::PDF::Cloud
