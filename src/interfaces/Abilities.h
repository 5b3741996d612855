#pragma once

#include "OrvaneExport.h"
#include "RequestResult.h"

#include <QDateTime>
#include <QMap>
#include <QPixmap>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <utility>

namespace Orvane::Social {

/// The cloud's answer about a file that it has stored.
struct OrvaneCloudSharingResult
{
    QString ownerName;
    qint64 size = 0; ///< bytes, as the cloud counts them
    bool isPrivate = true;
    QString versionTag; ///< changes whenever the stored content does
    QString id;
    QString fileName;
    QUrl downloadUrl;
    QDateTime createdAt;
    QDateTime modifyTime;
    int lifeTime = 0; ///< seconds
};

/// What a cloud protocol can do, one class an ability. Every operation that talks to the server returns at
/// once, with the ticket of its request or INVALID_TICKET when it did not start. Its callbacks come later,
/// never inside the starting call, on the caller's event-loop thread and with that ticket: progress any
/// number of times, then the result at most once; nothing after the request has been cancelled or its maker
/// destroyed.
namespace Ability {

class ORVANE_INTERFACES_EXPORT Cancel
{
public:
    virtual ~Cancel() = default;

    /// Asks for the request to be stopped. An unknown ticket is ignored.
    virtual void cancelOperation(long long ticket) = 0;
};

class ORVANE_INTERFACES_EXPORT Auth : public virtual Cancel
{
public:
    using OnResult = std::function<void(long long ticket, RequestResult result)>;
    using OnText = std::function<void(long long ticket, RequestResult result, QString text)>;
    using OnUrl = std::function<void(long long ticket, RequestResult result, QUrl url)>;
    using OnImage = std::function<void(long long ticket, RequestResult result, QPixmap image)>;

    ~Auth() override = default;

    /// Signs the user in. The keys of @p parameters are constants of the protocol client.
    virtual long long auth(const QMap<QString, QString>& parameters, OnResult&& onResult) = 0;

    /// Signs the user out at once, without a request.
    virtual void logout() = 0;

    /// Whether the user is signed in, without a request.
    virtual bool loggedIn() = 0;

    virtual long long userName(OnText&& onResult) = 0;
    virtual long long userProfile(OnUrl&& onResult) = 0;

    /// The user's picture, as an image or as text.
    virtual long long userPic(OnImage&& onResult) = 0;
    virtual long long userPic(OnText&& onResult) = 0;
};

/// Marks a protocol whose uploads are answered with an R.
template <typename R>
class ORVANE_INTERFACES_EXPORT Upload
{};

template <typename R>
class ORVANE_INTERFACES_EXPORT File : public virtual Cancel, public Upload<R>
{
public:
    /// Describes the file that an operation works on; the keys are constants of the protocol client.
    struct FileFieldData
    {
        QMap<QString, QString> fields;
        QMap<QString, QStringList> listFields;
    };

    /// One file stored in the cloud.
    struct FileInfo
    {
        QString id;
        QString fileName;
        qint64 size = 0; ///< bytes
        quint16 attributes = 0;
        QString versionTag; ///< changes whenever the stored content does
        QString md5Hash;    ///< lower-case hexadecimal, empty when unknown
        QString createdAt;  ///< ISO 8601
        QString modifyTime; ///< ISO 8601
    };

    using OnResult = std::function<void(long long ticket, RequestResult result)>;
    using OnProgress = std::function<void(long long ticket, int progress)>;
    using OnFileInfo = std::function<void(long long ticket, RequestResult result, FileInfo file)>;
    using OnFileList = std::function<void(long long ticket, RequestResult result, QList<FileInfo> files)>;
    using OnUploaded = std::function<void(long long ticket, RequestResult result, const R& answer)>;

    ~File() override = default;

    virtual long long retriveFileInfo(const FileFieldData& file, OnFileInfo&& onResult) = 0;

    /// The entries of all the user's files.
    virtual long long retriveFileList(const FileFieldData& filter, OnFileList&& onResult) = 0;

    virtual long long downloadFile(const FileFieldData& file, OnResult&& onResult,
                                   OnProgress&& onProgress) = 0;
    virtual long long deleteFile(const FileFieldData& file, OnResult&& onResult) = 0;
    virtual long long uploadFile(const QString& localPath, const QMap<QString, QString>& parameters,
                                 OnUploaded&& onResult, OnProgress&& onProgress) = 0;
};

class ORVANE_INTERFACES_EXPORT Quota
{
public:
    /// Two figures that the client defines; see OrvaneCloudProtocol::userQuota for ours.
    using QuotaValue = std::pair<qint64, qint64>;
    using OnQuota =
        std::function<void(long long ticket, RequestResult result, const QMap<QString, QuotaValue>& quota)>;

    virtual ~Quota() = default;

    virtual long long userQuota(OnQuota&& onResult) = 0;
};

class ORVANE_INTERFACES_EXPORT Preview
{
public:
    using OnPreview = std::function<void(long long ticket, RequestResult result, QPixmap image)>;

    virtual ~Preview() = default;

    /// A picture of the file's first page that fits the wanted width and height.
    virtual long long retrievePreview(const QMap<QString, QString>& parameters, OnPreview&& onResult) = 0;
};

} // namespace Ability
} // namespace Orvane::Social
