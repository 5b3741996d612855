#include <OrvaneCloud/OrvaneCloudManager.h>

#include <OrvaneCloudProtocol/OrvaneCloudProtocol.h>

#include <QDir>
#include <QFileInfo>
#include <QPixmap>
#include <QPointer>
#include <QTimer>

#include <glog/logging.h>

#include <exception>
#include <limits>
#include <map>

namespace Orvane::PDF::Cloud {
namespace {

using Social::INVALID_TICKET;
using Social::OrvaneCloudSharingResult;
using Keys = Social::OrvaneCloudProtocol;
using FileFieldData = Social::Ability::File<OrvaneCloudSharingResult>::FileFieldData;

// Edge lengths in pixels of the previews that every listed document gets.
const std::map<FileInfo::PreviewSize, int> defaultPreviewSizeMap = {
    {FileInfo::PreviewSize::Small, 40},
    {FileInfo::PreviewSize::Medium, 100},
    {FileInfo::PreviewSize::Large, 191},
};

// Signals carry QString, the log UTF-8: one text for both.
struct Message
{
    const char* text;

    operator QString() const { return QString::fromUtf8(text); }
};

std::ostream& operator<<(std::ostream& stream, const Message& message)
{
    return stream << message.text;
}

constexpr Message kUploadNotStarted{"Upload file failed"};
constexpr Message kUploadFailed{"Upload file error"};
constexpr Message kDownloadNotStarted{"Download file failed"};
constexpr Message kDownloadFailed{"Download file error"};
constexpr Message kListNotStarted{"Retrieve files information failed"};
constexpr Message kListFailed{"Files list request error"};
constexpr Message kRemovalNotStarted{"Remove file failed"};
constexpr Message kRemovalFailed{"Remove file error"};
constexpr Message kQuotaNotStarted{"Retrieve user quota information failed"};
constexpr Message kQuotaFailed{"User quota request error"};
constexpr Message kPreviewNotUploaded{"Can`t retrieving preview for not upload files"};
constexpr Message kPreviewNotStarted{"Retrieve file preview failed"};
constexpr Message kPreviewFailed{"Retrieving file preview error"};

QString IdOf(const FileInfo& document)
{
    return QString::fromStdString(document.GetId());
}

FileFieldData FileById(const FileInfo& document)
{
    FileFieldData file;
    file.fields.insert(Keys::ID, IdOf(document));
    return file;
}

FileFieldData DownloadRequest(FileInfo& document, const QString& folder)
{
    const auto& cloudInfo = *document.GetRedactableCloudInfo();
    auto request = FileById(document);
    request.fields.insert(Keys::FILE_NAME,
                          folder + QLatin1Char('/') + QString::fromStdString(cloudInfo.GetFileName()));
    request.fields.insert(Keys::FILE_SIZE, QString::number(cloudInfo.GetSize()));
    return request;
}

void RequireDocument(const std::shared_ptr<FileInfo>& document)
{
    if (!document)
        throw std::exception();
}

std::shared_ptr<FileInfo> SettledCopy(const FileInfo& document)
{
    auto copy = std::make_shared<FileInfo>(document);
    copy->SetIsSyncingInProgress(false);
    return copy;
}

void RemoveFileOf(const FileInfo& document)
{
    if (document.GetPath().exists())
        document.GetPath().remove();
}

std::shared_ptr<FileInfo>
MakeListedDocument(const Social::Ability::File<OrvaneCloudSharingResult>::FileInfo& entry)
{
    const FileInfo::CloudInfo cloudInfo(entry.id.toStdString(), entry.fileName.toStdString(),
                                        static_cast<unsigned long long>(entry.size), true, QUrl(),
                                        QDateTime::fromString(entry.createdAt, Qt::ISODate),
                                        QDateTime::fromString(entry.modifyTime, Qt::ISODate),
                                        std::numeric_limits<int>::max(), entry.md5Hash.toStdString());
    return std::make_shared<FileInfo>(cloudInfo);
}

// For what a callback holds and hands on: a receiver may destroy the protocol, and the callback with it.
template <typename Value>
Value Copy(const Value& value)
{
    return value;
}

int LowInt(qint64 value)
{
    return static_cast<int>(static_cast<quint32>(value));
}

} // namespace

OrvaneCloudManager::OrvaneCloudManager(const std::shared_ptr<ICloudProtocol>& protocol,
                                       const std::shared_ptr<IHashCalculator>& hashCalculator,
                                       const std::shared_ptr<IFileSystem>& fileSystem,
                                       const std::shared_ptr<Settings::ICloudAccountSettings>& settings)
    : m_protocol(protocol)
    , m_hashCalculator(hashCalculator)
    , m_fileSystem(fileSystem)
{
    auto* refreshTimer = new QTimer(this);
    if (!settings->IsAutoRefreshEnabled())
        return;
    refreshTimer->start(settings->GetAutoRefreshInterval());
    connect(refreshTimer, &QTimer::timeout, this, &OrvaneCloudManager::RetrieveFilesList);
}

OrvaneCloudManager::~OrvaneCloudManager()
{
    // A protocol may run callbacks from inside cancelOperation, which end requests and even start new ones.
    while (!m_pendingOperations.isEmpty()) {
        const auto tickets = m_pendingOperations;
        for (const auto ticket : tickets)
            CancelPending(ticket);
    }
}

void OrvaneCloudManager::Authorization(const QString& token)
{
    if (token.isEmpty()) {
        // Written out: compilers disagree about the text of __PRETTY_FUNCTION__.
        LOG(ERROR) << "virtual void Orvane::PDF::Cloud::OrvaneCloudManager::Authorization(const QString &)"
                   << ": "
                   << "invalid token";
        Q_EMIT AuthorizationFailed();
        return;
    }

    const auto fail = [this] {
        LOG(ERROR) << "Auth failed";
        Q_EMIT AuthorizationFailed();
    };
    const QMap<QString, QString> parameters = {
        {Keys::API_VERSION, QStringLiteral("2")},
        {Keys::SSO_TOKEN, token},
        {Keys::APP_ID_ON_CLOUD, QStringLiteral("pdf")},
    };
    const auto ticket = m_protocol->auth(parameters, [this, fail](long long answered, RequestResult result) {
        if (!TakePending(answered))
            return;
        if (result != RequestResult::Success)
            return fail();
        LOG(INFO) << "Auth completed";
        Q_EMIT AuthorizationCompleted();
    });
    if (ticket == INVALID_TICKET)
        return fail();
    m_pendingOperations.insert(ticket);
}

void OrvaneCloudManager::Logout()
{
    if (!m_protocol->loggedIn())
        return;
    m_protocol->logout();
    Q_EMIT LoggedOut();
}

bool OrvaneCloudManager::IsLoggedIn()
{
    return m_protocol->loggedIn();
}

bool OrvaneCloudManager::IsSyncInProgressWithCloud() const
{
    return !m_pendingTransfers.isEmpty();
}

void OrvaneCloudManager::Upload(const QStringList& paths)
{
    if (!RequireSignIn())
        return;
    const QPointer<OrvaneCloudManager> self(this);
    for (const auto& path : Copy(paths)) {
        Upload(path);
        if (!self)
            return;
    }
}

void OrvaneCloudManager::Upload(const QString& path)
{
    if (!RequireSignIn())
        return;
    StartUpload(path, UploadParameters(path));
}

void OrvaneCloudManager::Upload(const std::shared_ptr<FileInfo>& document)
{
    if (!RequireSignIn())
        return;
    if (!document) {
        LOG(ERROR) << kUploadNotStarted;
        Q_EMIT UploadingFileRequestError(QString(), kUploadNotStarted);
        return;
    }
    const auto path = QString::fromStdString(document->GetPath().utf8string());
    auto parameters = UploadParameters(path);
    parameters.insert(Keys::ID, IdOf(*document));
    StartUpload(path, parameters);
}

QMap<QString, QString> OrvaneCloudManager::UploadParameters(const QString& path) const
{
    const auto hash = m_hashCalculator->CalculateFileHash(ioPath::from(path));
    return {
        {Keys::FILE_MIME_TYPE, QStringLiteral("application/pdf")},
        {Keys::CHUNK_MIME_TYPE, QStringLiteral("application/pdf")},
        {Keys::MD5_HASH, QString::fromStdString(hash)},
    };
}

// The path is a copy: a receiver of the first signal may destroy the caller's.
void OrvaneCloudManager::StartUpload(QString path, const QMap<QString, QString>& parameters)
{
    const QPointer<OrvaneCloudManager> self(this);
    Q_EMIT UploadingStarted(path);
    if (!self)
        return;
    const auto ticket = m_protocol->uploadFile(
        path, parameters,
        [this, path](long long answered, RequestResult result, const OrvaneCloudSharingResult& answer) {
            if (TakePending(answered))
                OnUploadCompleted(Copy(path), result, answer);
        },
        [this, path](long long answered, int progress) {
            if (m_pendingOperations.contains(answered))
                Q_EMIT UploadingProgressValueChanged(Copy(path), progress);
        });
    if (ticket == INVALID_TICKET) {
        LOG(ERROR) << kUploadNotStarted;
        Q_EMIT UploadingFileRequestError(path, kUploadNotStarted);
        return;
    }
    m_pendingTransfers.insert(ticket, path.toStdString());
    m_pendingOperations.insert(ticket);
}

void OrvaneCloudManager::OnUploadCompleted(const QString& path, RequestResult result,
                                           const OrvaneCloudSharingResult& answer)
{
    const QPointer<OrvaneCloudManager> self(this);
    const auto document = MakeUploadedDocument(path, answer);
    switch (result) {
    case RequestResult::Success:
        Q_EMIT UploadingFinished(document);
        if (self)
            UserQuota();
        break;
    case RequestResult::Error:
        LOG(ERROR) << kUploadFailed;
        RemoveFile(document);
        if (self)
            Q_EMIT UploadingFileRequestError(path, kUploadFailed);
        break;
    case RequestResult::Canceled:
        LOG(INFO) << "Upload file canceled";
        RemoveFile(document);
        if (self)
            Q_EMIT UploadingCanceled(path);
        break;
    }
}

std::shared_ptr<FileInfo>
OrvaneCloudManager::MakeUploadedDocument(const QString& path, const OrvaneCloudSharingResult& answer) const
{
    const auto size = QFileInfo(path).size();
    const auto localPath = m_fileSystem->NormalizePath(ioPath::from(path));
    const auto hash = m_hashCalculator->CalculateFileHash(localPath);
    const FileInfo::CloudInfo cloudInfo(
        answer.id.toStdString(), answer.fileName.toStdString(), static_cast<unsigned long long>(size),
        answer.isPrivate, answer.downloadUrl, answer.createdAt, answer.modifyTime, answer.lifeTime, hash);
    auto document = std::make_shared<FileInfo>(cloudInfo);
    document->SetPath(localPath, hash);
    return document;
}

void OrvaneCloudManager::Download(const QList<std::shared_ptr<FileInfo>>& documents, const QString& folder)
{
    if (!RequireSignIn())
        return;
    const QPointer<OrvaneCloudManager> self(this);
    const auto target = folder;
    for (const auto& document : Copy(documents)) {
        Download(document, target);
        if (!self)
            return;
    }
}

void OrvaneCloudManager::Download(const std::shared_ptr<FileInfo>& document, const QString& folder)
{
    if (!RequireSignIn())
        return;
    RequireDocument(document);
    if (document->GetRedactableCloudInfo())
        StartDownload(document, folder);
    else
        ReportDownloadNotStarted(document);
}

// The document is a copy of the pointer: a receiver of the first signal may destroy the caller's.
void OrvaneCloudManager::StartDownload(std::shared_ptr<FileInfo> document, const QString& folder)
{
    const auto request = DownloadRequest(*document, folder);
    const QPointer<OrvaneCloudManager> self(this);
    Q_EMIT DownloadingStarted(document);
    if (!self)
        return;
    const auto ticket = m_protocol->downloadFile(
        request,
        [this, document, folder](long long answered, RequestResult result) {
            if (TakePending(answered))
                OnDownloadCompleted(folder, document, result);
        },
        [this, document](long long answered, int progress) {
            if (m_pendingOperations.contains(answered))
                Q_EMIT DownloadingProgressValueChanged(document, progress);
        });
    if (ticket == INVALID_TICKET)
        return ReportDownloadNotStarted(document);

    const auto localPath = m_fileSystem->NormalizePath(ioPath::from(request.fields.value(Keys::FILE_NAME)));
    document->SetPath(localPath, m_hashCalculator->CalculateFileHash(localPath));
    m_pendingOperations.insert(ticket);
    m_pendingTransfers.insert(ticket, document->GetId());
}

void OrvaneCloudManager::ReportDownloadNotStarted(const std::shared_ptr<const FileInfo>& document)
{
    LOG(ERROR) << kDownloadNotStarted;
    Q_EMIT DownloadingFileRequestError(document, kDownloadNotStarted);
}

void OrvaneCloudManager::OnDownloadCompleted(const QString& /*folder*/,
                                             const std::shared_ptr<const FileInfo>& document,
                                             RequestResult result)
{
    switch (result) {
    case RequestResult::Success:
        Q_EMIT DownloadingFinished(SettledCopy(*document));
        break;
    case RequestResult::Error:
        LOG(ERROR) << kDownloadFailed;
        Q_EMIT DownloadingFileRequestError(SettledCopy(*document), kDownloadFailed);
        break;
    case RequestResult::Canceled: {
        LOG(INFO) << "Download file canceled";
        const auto copy = SettledCopy(*document);
        RemoveFileOf(*copy);
        Q_EMIT DownloadingCanceled(copy);
        break;
    }
    }
}

void OrvaneCloudManager::CancelUploading(const QString& path)
{
    if (RequireSignIn() && CancelTransfer(path.toStdString()))
        Q_EMIT UploadingCanceled(Copy(path));
}

void OrvaneCloudManager::CancelDownloading(const std::shared_ptr<FileInfo>& document)
{
    if (!RequireSignIn())
        return;
    RequireDocument(document);
    if (!CancelTransfer(document->GetId()))
        return;
    RemoveFileOf(*document);
    Q_EMIT DownloadingCanceled(document);
}

void OrvaneCloudManager::RetrieveFilesList()
{
    if (!RequireSignIn() || IsSyncInProgressWithCloud())
        return;

    const QPointer<OrvaneCloudManager> self(this);
    Q_EMIT RetrievingFilesListStarted();
    if (!self)
        return;
    const auto ticket = m_protocol->retriveFileList(
        FileFieldData(), [this](long long answered, RequestResult result, QList<CloudFile> entries) {
            if (TakePending(answered))
                OnRetrieveFilesListCompleted(result, std::move(entries));
        });
    if (!NotePending(ticket, kListNotStarted.text))
        Q_EMIT RetrievingFilesListErrorRequested(kListNotStarted);
}

void OrvaneCloudManager::OnRetrieveFilesListCompleted(RequestResult result, QList<CloudFile> entries)
{
    if (result == RequestResult::Canceled) {
        LOG(INFO) << "Files list request canceled";
        Q_EMIT RetrievingFilesListCanceled();
        return;
    }
    if (result == RequestResult::Error) {
        LOG(ERROR) << kListFailed;
        Q_EMIT RetrievingFilesListErrorRequested(kListFailed);
        return;
    }
    if (result != RequestResult::Success)
        return;

    const QPointer<OrvaneCloudManager> self(this);
    QList<std::shared_ptr<FileInfo>> documents;
    documents.reserve(entries.size());
    for (const auto& entry : qAsConst(entries)) {
        const auto document = MakeListedDocument(entry);
        documents.append(document);
        for (const auto& [previewSize, pixels] : defaultPreviewSizeMap) {
            RetrieveFilePreview(document, previewSize, QSize(pixels, pixels));
            if (!self)
                return;
        }
    }
    Q_EMIT RetrievingFilesListFinished(documents);
}

void OrvaneCloudManager::RemoveFile(const std::shared_ptr<FileInfo>& document)
{
    if (!RequireSignIn())
        return;
    RequireDocument(document);

    auto onResult = [this, document](long long answered, RequestResult result) {
        if (TakePending(answered))
            OnRemoveFileCompleted(Copy(document), result);
    };
    const auto ticket = m_protocol->deleteFile(FileById(*document), std::move(onResult));
    if (!NotePending(ticket, kRemovalNotStarted.text))
        Q_EMIT RemovingFileError(document, kRemovalNotStarted);
}

void OrvaneCloudManager::OnRemoveFileCompleted(const std::shared_ptr<FileInfo>& document,
                                               RequestResult result)
{
    if (result != RequestResult::Success) {
        LOG(ERROR) << kRemovalFailed;
        Q_EMIT RemovingFileError(document, kRemovalFailed);
        return;
    }
    const QPointer<OrvaneCloudManager> self(this);
    Q_EMIT RemoveFileFinished(document);
    if (self)
        UserQuota();
}

void OrvaneCloudManager::UserQuota()
{
    if (!RequireSignIn())
        return;

    const QPointer<OrvaneCloudManager> self(this);
    Q_EMIT RetrievingUserQuotaStarted();
    if (!self)
        return;
    const auto ticket =
        m_protocol->userQuota([this](long long answered, RequestResult result, const QuotaValues& quota) {
            if (TakePending(answered))
                OnRetrieveUserQuotaCompleted(result, quota);
        });
    if (!NotePending(ticket, kQuotaNotStarted.text))
        Q_EMIT RetrievingUserQuotaErrorRequested(kQuotaNotStarted);
}

void OrvaneCloudManager::OnRetrieveUserQuotaCompleted(RequestResult result, QuotaValues quota)
{
    switch (result) {
    case RequestResult::Success: {
        const auto figures = quota.value(QStringLiteral("pdf"));
        Q_EMIT RetrievingUserQuotaFinished(LowInt(figures.first), LowInt(figures.second));
        break;
    }
    case RequestResult::Error:
        LOG(ERROR) << kQuotaFailed;
        Q_EMIT RetrievingUserQuotaErrorRequested(kQuotaFailed);
        break;
    case RequestResult::Canceled:
        LOG(INFO) << "User quota request canceled";
        Q_EMIT RetrievingUserQuotaCanceled();
        break;
    }
}

void OrvaneCloudManager::RetrieveFilePreview(const std::shared_ptr<FileInfo>& document,
                                             FileInfo::PreviewSize previewSize, const QSize& size)
{
    if (!RequireSignIn())
        return;
    if (!document) {
        LOG(ERROR) << kPreviewNotStarted;
        return;
    }
    if (document->GetCloudStatus() == FileInfo::CloudStatus::NotUploaded) {
        LOG(ERROR) << kPreviewNotUploaded;
        Q_EMIT RetrieveFilePreviewError(document, previewSize, kPreviewNotUploaded);
        return;
    }
    StartPreview(document, previewSize, size);
}

// The document is a copy of the pointer: a receiver of the first signal may destroy the caller's.
void OrvaneCloudManager::StartPreview(std::shared_ptr<FileInfo> document, FileInfo::PreviewSize previewSize,
                                      const QSize& size)
{
    const QMap<QString, QString> parameters = {
        {Keys::ID, IdOf(*document)},
        {Keys::FILE_PREVIEW_HEIGHT, QString::number(size.height())},
        {Keys::FILE_PREVIEW_WIDTH, QString::number(size.width())},
    };
    const QPointer<OrvaneCloudManager> self(this);
    Q_EMIT RetrieveFilePreviewStarted(document, previewSize);
    if (!self)
        return;
    const auto ticket = m_protocol->retrievePreview(
        parameters, [this, document, previewSize](long long answered, RequestResult result, QPixmap image) {
            if (TakePending(answered))
                OnRetrieveFilePreviewCompleted(Copy(document), previewSize, result, image);
        });
    if (!NotePending(ticket, kPreviewNotStarted.text))
        Q_EMIT RetrieveFilePreviewError(document, previewSize, kPreviewNotStarted);
}

void OrvaneCloudManager::OnRetrieveFilePreviewCompleted(const std::shared_ptr<FileInfo>& document,
                                                        FileInfo::PreviewSize previewSize,
                                                        RequestResult result, QPixmap image)
{
    switch (result) {
    case RequestResult::Success: {
        const auto error = StorePreview(document, previewSize, image);
        if (error.isEmpty()) {
            Q_EMIT RetrieveFilePreviewFinished(document, previewSize);
            break;
        }
        LOG(ERROR) << error.toStdString();
        Q_EMIT RetrieveFilePreviewError(document, previewSize, error);
        break;
    }
    case RequestResult::Error:
        LOG(ERROR) << kPreviewFailed;
        Q_EMIT RetrieveFilePreviewError(document, previewSize, kPreviewFailed);
        break;
    case RequestResult::Canceled:
        LOG(INFO) << "Retrieving file preview canceled";
        Q_EMIT RetrieveFilePreviewCanceled(document);
        break;
    }
}

// Returns the message of the failure, or nothing.
QString OrvaneCloudManager::StorePreview(const std::shared_ptr<FileInfo>& document,
                                         FileInfo::PreviewSize previewSize, const QPixmap& image) const
{
    const auto id = IdOf(*document);
    const auto sizeName = QString::fromStdString(FileInfo::previewSizetoString(previewSize));
    const QString fileName =
        QDir::tempPath() + QLatin1Char('/') + id + QLatin1Char('_') + sizeName + QLatin1String(".png");
    auto& cloudInfo = document->GetRedactableCloudInfo();
    if (!cloudInfo || !image.save(fileName))
        return QLatin1String("Cannot save preview for: ") + id + QLatin1String(" with size: ") + sizeName;
    cloudInfo->SetPreviewPathBySize(ioPath(fileName.toStdString()), previewSize);
    return QString();
}

bool OrvaneCloudManager::RequireSignIn()
{
    if (m_protocol->loggedIn())
        return true;
    Q_EMIT AuthorizationRequired();
    return false;
}

// Begins the request's time in the registry; false, and said in the log, when it has not started.
bool OrvaneCloudManager::NotePending(long long ticket, const char* notStarted)
{
    if (ticket == INVALID_TICKET) {
        LOG(ERROR) << notStarted;
        return false;
    }
    m_pendingOperations.insert(ticket);
    return true;
}

// Ends the request's time in the registry; false for a ticket that is not there.
bool OrvaneCloudManager::TakePending(long long ticket)
{
    if (!m_pendingOperations.remove(ticket))
        return false;
    m_pendingTransfers.remove(ticket);
    return true;
}

// Whether there was such a transfer, and the manager is still there.
bool OrvaneCloudManager::CancelTransfer(const std::string& key)
{
    const QPointer<OrvaneCloudManager> self(this);
    const auto ticket = m_pendingTransfers.key(key, INVALID_TICKET);
    if (ticket == INVALID_TICKET)
        return false;
    CancelPending(ticket);
    return !self.isNull();
}

void OrvaneCloudManager::CancelPending(long long ticket)
{
    if (!m_pendingOperations.contains(ticket))
        return;
    // The protocol may run callbacks inside the call, and their receivers may destroy the manager.
    const QPointer<OrvaneCloudManager> self(this);
    const auto protocol = m_protocol;
    protocol->cancelOperation(ticket);
    if (!self)
        return;
    m_pendingOperations.remove(ticket);
    m_pendingTransfers.remove(ticket);
}

} // namespace Orvane::PDF::Cloud
