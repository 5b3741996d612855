#pragma once

#include <OrvaneCloudHost/CloudSession.h>
#include <OrvaneCloudHost/Md5HashCalculator.h>

#include <QMultiHash>
#include <QString>
#include <QStringList>

#include <memory>

namespace Orvane::CommandLine {

/// Finds the document that already holds the content of a local file, so that the file need not be sent
/// again.
class StoredContent
{
public:
    /// @param session   outlives the object
    /// @param hashFile  where hashes of local files are remembered
    StoredContent(PDF::Cloud::CloudSession& session, const QString& hashFile);

    /// Learns which documents there are, after a refresh of the list.
    void ReadList();

    /// Learns of one more.
    void Add(const PDF::FileInfo& document);

    /// The document that has the file's name and, in the cloud, the file's content. Where other content has
    /// the name, the document that got a number instead: the file is its local copy. Null when there is none,
    /// and when the cloud does not say what it holds. Reads the file when the sizes are equal.
    ///
    /// @param realPath  as the list has the paths of local copies
    [[nodiscard]] std::shared_ptr<PDF::FileInfo> Find(const QString& fileName, const QString& realPath);

private:
    void Add(const QString& id, const QString& name, const QString& localPath);
    [[nodiscard]] bool IsContentOf(const PDF::FileInfo& document, const QString& path);

    PDF::Cloud::CloudSession& m_session;
    PDF::Cloud::Md5HashCalculator m_hashCalculator;
    QMultiHash<QString, QString> m_idsByName;
    QMultiHash<QString, QString> m_idsByLocalPath;
};

} // namespace Orvane::CommandLine
