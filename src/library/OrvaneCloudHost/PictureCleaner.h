#pragma once

#include <QObject>
#include <QTimer>

#include <set>
#include <string>

namespace Orvane::PDF::Cloud {

class OrvaneCloudFilesManager;
class PictureFolder;

/// Removes the pictures of documents that have left the list: in the next turn of the event loop, and again
/// in the destructor, which once a day also removes those of earlier runs.
class PictureCleaner : public QObject
{
    Q_OBJECT

public:
    /// Both must outlive the cleaner.
    PictureCleaner(const OrvaneCloudFilesManager& documents, const PictureFolder& pictures);
    ~PictureCleaner() override;

private:
    void RemovePicturesOf(const std::set<std::string>& ids) const;

    const OrvaneCloudFilesManager& m_documents;
    const PictureFolder& m_pictures;
    std::set<std::string> m_leftIds; // since the construction
    std::set<std::string> m_justLeftIds;
    QTimer m_soon;
};

} // namespace Orvane::PDF::Cloud
