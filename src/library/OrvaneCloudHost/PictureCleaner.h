#pragma once

#include <QObject>
#include <QTimer>

#include <set>
#include <string>

namespace Orvane::PDF::Cloud {

class OrvaneCloudFilesManager;
class PictureFolder;

/// Removes the pictures of documents that have left the list: soon after they have left, and once a day, at
/// the end of its life, those that an earlier run could not remove.
class PictureCleaner : public QObject
{
    Q_OBJECT

public:
    /// Both must outlive the cleaner.
    PictureCleaner(const OrvaneCloudFilesManager& documents, const PictureFolder& pictures);
    ~PictureCleaner() override;

private:
    void RemovePicturesOfLeft();

    const OrvaneCloudFilesManager& m_documents;
    const PictureFolder& m_pictures;
    std::set<std::string> m_leftIds;
    QTimer m_soon;
};

} // namespace Orvane::PDF::Cloud
