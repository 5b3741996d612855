#include "Locations.h"

#include "WebAddress.h"

#include <support/PathText.h>
#include <support/PrivateFiles.h>

#include <QCryptographicHash>
#include <QStandardPaths>
#include <QUrl>

#include <set>

namespace Orvane::CommandLine {

namespace filesystem = std::filesystem;
using Support::MakePrivateFolder;
using Support::ToPath;
using Support::ToText;

namespace {

const QString kProgramFolder = QStringLiteral("/orvane-cloud");

filesystem::path StandardFolder(QStandardPaths::StandardLocation location)
{
    return ToPath(QStandardPaths::writableLocation(location) + kProgramFolder);
}

/// One spelling for one folder, so that it has one list however it is written.
filesystem::path Canonical(const filesystem::path& folder)
{
    std::error_code error;
    const filesystem::path canonical =
        filesystem::weakly_canonical(filesystem::absolute(folder, error), error);
    return error || canonical.empty() ? folder : canonical;
}

QString FolderAddress(const filesystem::path& folder)
{
    return QUrl::fromLocalFile(ToText(Canonical(folder))).toString(QUrl::FullyEncoded);
}

QString CloudAddress(const QString& cloud)
{
    if (IsWebAddress(cloud))
        return ToOneSpelling(cloud);
    if (!cloud.contains(QStringLiteral("://")) && !cloud.startsWith(QStringLiteral("file:")))
        return FolderAddress(ToPath(cloud));
    const QUrl url(cloud);
    const bool isFolder = url.isLocalFile() && url.host().isEmpty() && !url.toLocalFile().isEmpty();
    return isFolder ? FolderAddress(ToPath(url.toLocalFile())) : cloud;
}

/// Some servers show every user their own documents at one address.
QString CloudIdentity(const QString& cloudAddress, const QString& user)
{
    return user.isEmpty() || !IsWebAddress(cloudAddress) ? cloudAddress
                                                         : cloudAddress + QLatin1Char('\n') + user;
}

filesystem::path SessionFolder(const filesystem::path& dataFolder, const QString& identity)
{
    const QByteArray hash = QCryptographicHash::hash(identity.toUtf8(), QCryptographicHash::Sha256);
    return dataFolder / "clouds" / hash.toHex().left(16).toStdString();
}

/// A folder that the user shares with other things keeps its rights; what the program makes in it is private.
bool HoldsOtherThings(const filesystem::path& dataFolder)
{
    static const std::set<filesystem::path> ours{"cache", "cloud", "clouds", "logs"};
    std::error_code error;
    for (const auto& entry : filesystem::directory_iterator(dataFolder, error)) {
        if (ours.count(entry.path().filename()) == 0)
            return true;
    }
    return false;
}

} // namespace

Locations FindLocations(const Options& options)
{
    Locations locations;
    if (options.data.isEmpty()) {
        locations.dataFolder = StandardFolder(QStandardPaths::GenericDataLocation);
        locations.cacheFolder = StandardFolder(QStandardPaths::GenericCacheLocation);
    } else {
        locations.dataFolder = Canonical(ToPath(options.data));
        locations.cacheFolder = locations.dataFolder / "cache";
        locations.isDataFolderNamed = true;
    }
    locations.temporaryFolder = locations.cacheFolder / "temporary";
    if (options.cloud.isEmpty())
        locations.defaultCloud = locations.dataFolder / "cloud";
    locations.cloudAddress =
        options.cloud.isEmpty() ? FolderAddress(locations.defaultCloud) : CloudAddress(options.cloud);
    locations.sessionFolder =
        SessionFolder(locations.dataFolder, CloudIdentity(locations.cloudAddress, options.user));
    return locations;
}

void MakeFolders(const Locations& locations)
{
    if (!locations.isDataFolderNamed || !HoldsOtherThings(locations.dataFolder))
        MakePrivateFolder(locations.dataFolder);
    MakePrivateFolder(locations.cacheFolder);
    MakePrivateFolder(locations.temporaryFolder);
    MakePrivateFolder(locations.sessionFolder.parent_path());
    MakePrivateFolder(locations.sessionFolder);
    if (!locations.defaultCloud.empty() && !filesystem::exists(locations.defaultCloud))
        MakePrivateFolder(locations.defaultCloud);
}

} // namespace Orvane::CommandLine
