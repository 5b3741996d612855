#include <OrvaneCloudProtocol/OrvaneCloudProtocol.h>

#include <OrvaneCloudProtocol/PreviewDesk.h>
#include <OrvaneCloudProtocol/RequestQueue.h>
#include <OrvaneCloudProtocol/RequestRegistry.h>
#include <OrvaneCloudProtocol/transports/TransportFactory.h>
#include <support/PathText.h>
#include <support/PrivateFiles.h>

#include <QGuiApplication>
#include <QStandardPaths>

namespace Orvane::Social {

namespace {

namespace fs = std::filesystem;

using Lane = RequestQueue::Lane;
using Parameters = QMap<QString, QString>;

constexpr int kLargestPreviewEdge = 4096;

fs::path CacheFolderOf(const OAuth2::AuthInfo& authInfo)
{
    if (!authInfo.cacheFolder.isEmpty()) {
        return fs::absolute(Support::ToPath(authInfo.cacheFolder));
    }
    return Support::ToPath(QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation)) /
           "orvane-cloud";
}

/// Those of an earlier version were open to others.
void MakePrivateWhatIsThere(const fs::path& cacheFolder)
{
    std::error_code error;
    for (const auto& folder : {cacheFolder, cacheFolder / "previews", cacheFolder / "temporaries"}) {
        if (fs::is_directory(folder, error)) {
            (void)Support::TryToMakePrivateFolder(folder);
        }
    }
}

RequestResult ResultOf(const std::optional<Failure>& failure)
{
    if (!failure) {
        return RequestResult::Success;
    }
    return failure->code == FailureCode::Canceled ? RequestResult::Canceled : RequestResult::Error;
}

/// Whether the path can be that of a file, by its text alone.
bool CanBeFile(const fs::path& path)
{
    return path.has_filename() && path.native().find(fs::path::value_type()) == fs::path::string_type::npos;
}

/// An edge of a preview in pixels, read without a locale; 0 when it makes no sense.
int EdgeOf(const QString& text)
{
    int edge = 0;
    for (const QChar digit : text) {
        if (digit < QLatin1Char('0') || digit > QLatin1Char('9') || edge > kLargestPreviewEdge) {
            return 0;
        }
        edge = 10 * edge + digit.digitValue();
    }
    return edge <= kLargestPreviewEdge ? edge : 0;
}

/// The size of a preview; empty when it makes no sense.
QSize BoxOf(const Parameters& parameters)
{
    return {EdgeOf(parameters.value(OrvaneCloudProtocol::FILE_PREVIEW_WIDTH)),
            EdgeOf(parameters.value(OrvaneCloudProtocol::FILE_PREVIEW_HEIGHT))};
}

/// The size in bytes that a download should have, 0 when it is not said; nothing when it makes no sense.
std::optional<qint64> SizeOf(const Parameters& fields)
{
    const QString text = fields.value(OrvaneCloudProtocol::FILE_SIZE);
    bool isNumber = false;
    const qint64 size = text.toLongLong(&isNumber);
    if (text.isEmpty()) {
        return 0;
    }
    return isNumber && size >= 0 ? std::make_optional(size) : std::nullopt;
}

/// What becomes of a file at a download's target; nothing when it makes no sense.
std::optional<Transport::ExistingFile> ExistingFileOf(const Parameters& fields)
{
    using ExistingFile = Transport::ExistingFile;
    const QString text = fields.value(OrvaneCloudProtocol::EXISTING_FILE);
    if (text.isEmpty() || text == QLatin1String("replace")) {
        return ExistingFile::Replace;
    }
    if (text == QLatin1String("refuse")) {
        return ExistingFile::Refuse;
    }
    return text == QLatin1String("keep_both") ? std::make_optional(ExistingFile::KeepBoth) : std::nullopt;
}

/// The version that the caller knows of the document that is to be changed.
std::optional<Transport::KnownVersion> KnownVersionOf(const Parameters& fields)
{
    bool isNumber = false;
    const qint64 size = fields.value(OrvaneCloudProtocol::KNOWN_SIZE).toLongLong(&isNumber);
    if (!isNumber) {
        return std::nullopt;
    }
    const auto time = fields.value(OrvaneCloudProtocol::KNOWN_MODIFY_TIME);
    return Transport::KnownVersion{fields.value(OrvaneCloudProtocol::KNOWN_MD5), size,
                                   QDateTime::fromString(time, Qt::ISODate)};
}

/// The download that the fields ask for; nothing when they make no sense.
std::optional<Transport::Download> DownloadOf(const Parameters& fields)
{
    auto target = Support::ToPath(fields.value(OrvaneCloudProtocol::FILE_NAME));
    const auto size = SizeOf(fields);
    const auto existing = ExistingFileOf(fields);
    if (!target.is_absolute() || !CanBeFile(target) || !size || !existing) {
        return std::nullopt;
    }
    return Transport::Download{fields.value(OrvaneCloudProtocol::ID), std::move(target), *size, *existing};
}

/// The answer of a request that has none.
struct Nothing
{};

template <typename Callback>
auto WithAnswer(Callback&& callback)
{
    return [call = std::forward<Callback>(callback)](long long ticket, RequestResult result,
                                                     const auto& answer) {
        if (call) {
            call(ticket, result, answer);
        }
    };
}

template <typename Callback>
auto WithoutAnswer(Callback&& callback)
{
    return [call = std::forward<Callback>(callback)](long long ticket, RequestResult result, const Nothing&) {
        if (call) {
            call(ticket, result);
        }
    };
}

QString NoPictures()
{
    return QStringLiteral("this cloud keeps no pictures of users");
}

OrvaneCloudSharingResult SharingResultOf(const Transport::CloudFile& file, const QUrl& downloadUrl)
{
    OrvaneCloudSharingResult answer;
    answer.size = file.size;
    answer.versionTag = file.versionTag;
    answer.id = file.id;
    answer.fileName = file.fileName;
    answer.downloadUrl = downloadUrl;
    answer.createdAt = QDateTime::fromString(file.createdAt, Qt::ISODate);
    answer.modifyTime = QDateTime::fromString(file.modifyTime, Qt::ISODate);
    return answer;
}

void StoreAndDescribe(Transport& transport, const Transport::Upload& upload, Job& job,
                      OrvaneCloudSharingResult& answer)
{
    try {
        const auto file = transport.Store(upload, job);
        answer = SharingResultOf(file, transport.DownloadUrl(file.id));
    } catch (const LeftBehindError& error) {
        answer.id = error.GetId();
        throw;
    }
}

} // namespace

const QString OrvaneCloudProtocol::API_VERSION = QStringLiteral("api_version");
const QString OrvaneCloudProtocol::APP_ID_ON_CLOUD = QStringLiteral("app_id_on_cloud");
const QString OrvaneCloudProtocol::CHUNK_MIME_TYPE = QStringLiteral("chunk_mime_type");
const QString OrvaneCloudProtocol::EXISTING_FILE = QStringLiteral("existing_file");
const QString OrvaneCloudProtocol::FILE_MIME_TYPE = QStringLiteral("file_mime_type");
const QString OrvaneCloudProtocol::FILE_NAME = QStringLiteral("file_name");
const QString OrvaneCloudProtocol::FILE_PREVIEW_HEIGHT = QStringLiteral("file_preview_height");
const QString OrvaneCloudProtocol::FILE_PREVIEW_WIDTH = QStringLiteral("file_preview_width");
const QString OrvaneCloudProtocol::FILE_SIZE = QStringLiteral("file_size");
const QString OrvaneCloudProtocol::ID = QStringLiteral("id");
const QString OrvaneCloudProtocol::KNOWN_MD5 = QStringLiteral("known_md5");
const QString OrvaneCloudProtocol::KNOWN_MODIFY_TIME = QStringLiteral("known_modify_time");
const QString OrvaneCloudProtocol::KNOWN_SIZE = QStringLiteral("known_size");
const QString OrvaneCloudProtocol::MD5_HASH = QStringLiteral("md5_hash");
const QString OrvaneCloudProtocol::SSO_TOKEN = QStringLiteral("sso_token");

class OrvaneCloudProtocol::Private
{
public:
    Private(OrvaneCloudProtocol& owner, const OAuth2::AuthInfo& authInfo, const std::string& cloudAddress);

    /// Starts a request: @p work(transport, job, answer) fills the answer on a worker, @p deliver(ticket,
    /// result, answer) hands it over. What @p work holds goes to the worker; what @p deliver holds never
    /// does.
    template <typename Answer, typename Work, typename Deliver>
    long long Start(Operation operation, Lane lane, Work work, Deliver deliver,
                    Files::OnProgress&& onProgress = {});

    /// Starts a request that can only fail.
    template <typename Answer, typename Deliver>
    long long StartUnsupported(Operation operation, Deliver deliver, const QString& reason);

    template <typename Deliver>
    long long StartPreview(const QString& id, const QSize& box, Deliver deliver);

    /// Nobody is signed in any more once the cloud has refused a request, unless that request began under an
    /// earlier sign-in. A refused sign-in says nothing about the token that is in use.
    void NoteEndOfSignIn(Operation operation, const std::optional<Failure>& failure, int signInAtStart);

    [[nodiscard]] bool IsReadyFor(Operation operation);
    [[nodiscard]] bool IsReadyFor(Operation operation, const QString& documentId);

    void Cancel(long long ticket);
    void Stop();

    /// On the client's thread.
    void NoteWaiting(long long ticket, const Job::Pause& pause);

    OrvaneCloudProtocol& q;
    const std::shared_ptr<Transport> transport;
    const std::shared_ptr<PreviewMaker> previewMaker;
    bool isSignedIn = false;
    int signIns = 0;
    int logouts = 0;
    QString lastDownloadedFile;
    RequestRegistry registry;
    std::unique_ptr<RequestQueue> queue; // none: the address is not understood
    std::unique_ptr<PreviewDesk> previews;
};

OrvaneCloudProtocol::Private::Private(OrvaneCloudProtocol& owner, const OAuth2::AuthInfo& authInfo,
                                      const std::string& address)
    : q(owner)
    , transport(MakeTransport(authInfo, address, CacheFolderOf(authInfo)))
    , previewMaker(std::make_shared<PreviewMaker>(CacheFolderOf(authInfo) / "previews"))
{
    if (!transport) {
        return;
    }
    MakePrivateWhatIsThere(CacheFolderOf(authInfo));
    queue = std::make_unique<RequestQueue>(transport->TransfersAtOnce(), registry.Deliveries());
    const auto onAnswered = [this](long long ticket, const auto& failure) {
        registry.EndLater(ticket, failure);
    };
    const auto cloud = authInfo.userName.toUtf8() + '\0' + QByteArray::fromStdString(address);
    previews = std::make_unique<PreviewDesk>(*queue, transport, previewMaker, cloud, onAnswered);
}

template <typename Answer, typename Work, typename Deliver>
long long OrvaneCloudProtocol::Private::Start(Operation operation, Lane lane, Work work, Deliver deliver,
                                              Files::OnProgress&& onProgress)
{
    const auto answer = std::make_shared<Answer>();
    auto finish = [this, operation, answer, deliver = std::move(deliver),
                   asked = signIns](long long ended, const std::optional<Failure>& failure) {
        NoteEndOfSignIn(operation, failure, asked);
        deliver(ended, ResultOf(failure), *answer);
    };
    const long long ticket = registry.Open(operation, std::move(finish), std::move(onProgress));
    auto task = std::make_shared<RequestQueue::Task>(ticket, lane, [this, ticket](int percent) {
        registry.Deliveries().Post([this, ticket, percent] { registry.Progress(ticket, percent); });
    });
    task->job.SetOnPause([this, ticket](const Job::Pause& pause) {
        registry.Deliveries().Post([this, ticket, pause] { NoteWaiting(ticket, pause); });
    });
    task->work = [source = transport, answer, work = std::move(work)](Job& job) {
        work(*source, job, *answer);
    };
    task->onEnded = [this, ticket](const auto& failure) {
        failure ? registry.End(ticket, failure) : registry.Complete(ticket);
    };
    queue->Add(std::move(task));
    return ticket;
}

void OrvaneCloudProtocol::Private::NoteWaiting(long long ticket, const Job::Pause& pause)
{
    if (registry.IsUnderWay(ticket)) {
        Q_EMIT q.Waiting(ticket, pause.why, static_cast<int>(pause.duration.count()));
    }
}

template <typename Answer, typename Deliver>
long long OrvaneCloudProtocol::Private::StartUnsupported(Operation operation, Deliver deliver,
                                                         const QString& reason)
{
    auto finish = [deliver = std::move(deliver)](long long ended, const std::optional<Failure>& failure) {
        deliver(ended, ResultOf(failure), Answer());
    };
    const long long ticket = registry.Open(operation, std::move(finish));
    registry.EndLater(ticket, Failure{FailureCode::Unsupported, reason});
    return ticket;
}

template <typename Deliver>
long long OrvaneCloudProtocol::Private::StartPreview(const QString& id, const QSize& box, Deliver deliver)
{
    const auto image = std::make_shared<QImage>();
    auto finish = [this, image, deliver = std::move(deliver),
                   asked = signIns](long long ended, const std::optional<Failure>& failure) {
        NoteEndOfSignIn(Operation::Preview, failure, asked);
        deliver(ended, ResultOf(failure), QPixmap::fromImage(*image));
    };
    const long long ticket = registry.Open(Operation::Preview, std::move(finish));
    previews->Add(ticket, id, box, image);
    return ticket;
}

void OrvaneCloudProtocol::Private::NoteEndOfSignIn(Operation operation, const std::optional<Failure>& failure,
                                                   int signInAtStart)
{
    const bool isRefused = failure && failure->code == FailureCode::SignInNeeded;
    if (isRefused && operation != Operation::SignIn && signInAtStart == signIns) {
        isSignedIn = false;
    }
}

bool OrvaneCloudProtocol::Private::IsReadyFor(Operation operation)
{
    if (!isSignedIn) {
        registry.Refuse(operation, FailureCode::SignInNeeded, QStringLiteral("nobody is signed in"));
    }
    return isSignedIn;
}

bool OrvaneCloudProtocol::Private::IsReadyFor(Operation operation, const QString& documentId)
{
    if (!IsReadyFor(operation)) {
        return false;
    }
    const bool isDocument = transport->IsDocumentId(documentId);
    if (!isDocument) {
        registry.Refuse(operation, FailureCode::InvalidRequest,
                        QStringLiteral("\"%1\" is not the id of a document").arg(documentId));
    }
    return isDocument;
}

void OrvaneCloudProtocol::Private::Cancel(long long ticket)
{
    // A ticket that has ended may still be the queue's key of others' previews.
    if (!registry.IsUnderWay(ticket)) {
        return;
    }
    if (queue && !previews->Cancel(ticket)) {
        queue->Remove(ticket);
    }
    registry.Forget(ticket);
}

void OrvaneCloudProtocol::Private::Stop()
{
    isSignedIn = false;
    previews.reset();
    queue.reset();
    registry.ForgetAll();
}

OrvaneCloudProtocol::OrvaneCloudProtocol(const OAuth2::AuthInfo& authInfo, const std::string& address,
                                         QObject* parent)
    : QObject(parent)
    , d(std::make_unique<Private>(*this, authInfo, address))
{}

OrvaneCloudProtocol::~OrvaneCloudProtocol()
{
    d->Stop();
}

std::optional<Failure> OrvaneCloudProtocol::LastFailure(Operation operation) const
{
    return d->registry.LastFailure(operation);
}

QString OrvaneCloudProtocol::LastDownloadedFile() const
{
    return d->lastDownloadedFile;
}

bool OrvaneCloudProtocol::IsTokenNeeded() const
{
    return d->transport && d->transport->IsTokenNeeded();
}

std::optional<CloudGuarantees> OrvaneCloudProtocol::Guarantees() const
{
    return d->transport ? d->transport->Guarantees() : std::nullopt;
}

void OrvaneCloudProtocol::cancelOperation(long long ticket)
{
    d->Cancel(ticket);
}

long long OrvaneCloudProtocol::auth(const Parameters& parameters, Auth::OnResult&& onResult)
{
    if (!d->queue) {
        return d->registry.Refuse(Operation::SignIn, FailureCode::InvalidAddress,
                                  QStringLiteral("the cloud's address is not understood"));
    }
    const QString token = parameters.value(SSO_TOKEN);
    if (token.isEmpty()) {
        return d->registry.Refuse(Operation::SignIn, FailureCode::InvalidRequest,
                                  QStringLiteral("there is no token"));
    }
    const auto signIn = [token](Transport& transport, Job& job, Nothing&) { transport.SignIn(token, job); };
    auto deliver = [this, answer = WithoutAnswer(std::move(onResult)),
                    logouts = d->logouts](long long ticket, RequestResult result, const Nothing& nothing) {
        const bool isOverruled = d->logouts != logouts;
        if (result == RequestResult::Success && !isOverruled) {
            d->isSignedIn = true;
            ++d->signIns;
        }
        answer(ticket, isOverruled && result == RequestResult::Success ? RequestResult::Canceled : result,
               nothing);
    };
    return d->Start<Nothing>(Operation::SignIn, Lane::Control, signIn, std::move(deliver));
}

void OrvaneCloudProtocol::logout()
{
    d->isSignedIn = false;
    ++d->logouts;
}

bool OrvaneCloudProtocol::loggedIn()
{
    return d->isSignedIn;
}

long long OrvaneCloudProtocol::userName(OnText&& onResult)
{
    if (!d->IsReadyFor(Operation::UserInfo)) {
        return INVALID_TICKET;
    }
    const auto ask = [](Transport& transport, Job& job, QString& name) { name = transport.UserName(job); };
    return d->Start<QString>(Operation::UserInfo, Lane::Control, ask, WithAnswer(std::move(onResult)));
}

long long OrvaneCloudProtocol::userProfile(OnUrl&& onResult)
{
    if (!d->IsReadyFor(Operation::UserInfo)) {
        return INVALID_TICKET;
    }
    const auto ask = [](Transport& transport, Job& job, QUrl& profile) {
        profile = transport.UserProfile(job);
    };
    return d->Start<QUrl>(Operation::UserInfo, Lane::Control, ask, WithAnswer(std::move(onResult)));
}

long long OrvaneCloudProtocol::userPic(OnImage&& onResult)
{
    if (!d->IsReadyFor(Operation::UserInfo)) {
        return INVALID_TICKET;
    }
    return d->StartUnsupported<QPixmap>(Operation::UserInfo, WithAnswer(std::move(onResult)), NoPictures());
}

long long OrvaneCloudProtocol::userPic(OnText&& onResult)
{
    if (!d->IsReadyFor(Operation::UserInfo)) {
        return INVALID_TICKET;
    }
    return d->StartUnsupported<QString>(Operation::UserInfo, WithAnswer(std::move(onResult)), NoPictures());
}

long long OrvaneCloudProtocol::retriveFileInfo(const FileFieldData& file, OnFileInfo&& onResult)
{
    const QString id = file.fields.value(ID);
    if (!d->IsReadyFor(Operation::FileInfo, id)) {
        return INVALID_TICKET;
    }
    const auto ask = [id](Transport& transport, Job& job, FileInfo& info) { info = transport.Info(id, job); };
    return d->Start<FileInfo>(Operation::FileInfo, Lane::Control, ask, WithAnswer(std::move(onResult)));
}

long long OrvaneCloudProtocol::retriveFileList(const FileFieldData&, OnFileList&& onResult)
{
    if (!d->IsReadyFor(Operation::FileList)) {
        return INVALID_TICKET;
    }
    const auto ask = [](Transport& transport, Job& job, QList<FileInfo>& files) {
        files = transport.List(job);
    };
    return d->Start<QList<FileInfo>>(Operation::FileList, Lane::Control, ask,
                                     WithAnswer(std::move(onResult)));
}

long long OrvaneCloudProtocol::downloadFile(const FileFieldData& file, Files::OnResult&& onResult,
                                            OnProgress&& onProgress)
{
    const QString id = file.fields.value(ID);
    if (!d->IsReadyFor(Operation::Download, id)) {
        return INVALID_TICKET;
    }
    const auto download = DownloadOf(file.fields);
    if (!download) {
        return d->registry.Refuse(Operation::Download, FailureCode::InvalidRequest,
                                  QStringLiteral("\"%1\" cannot be written, or the size, or what becomes "
                                                 "of an existing file, makes no sense")
                                      .arg(file.fields.value(FILE_NAME)));
    }
    const auto fetch = [download = *download](Transport& transport, Job& job, fs::path& made) {
        made = transport.Fetch(download, job);
    };
    auto deliver = [this, answer = WithoutAnswer(std::move(onResult))](long long ticket, RequestResult result,
                                                                       const fs::path& made) {
        if (result == RequestResult::Success) {
            d->lastDownloadedFile = Support::ToText(made);
        }
        answer(ticket, result, Nothing());
    };
    return d->Start<fs::path>(Operation::Download, Lane::Transfers, fetch, std::move(deliver),
                              std::move(onProgress));
}

long long OrvaneCloudProtocol::deleteFile(const FileFieldData& file, Files::OnResult&& onResult)
{
    const QString id = file.fields.value(ID);
    if (!d->IsReadyFor(Operation::Remove, id)) {
        return INVALID_TICKET;
    }
    if (d->transport->IsCollection(id)) {
        return d->registry.Refuse(Operation::Remove, FailureCode::InvalidRequest,
                                  QStringLiteral("\"%1\" is a collection").arg(id));
    }
    const Transport::Removal removal(id, KnownVersionOf(file.fields));
    const auto remove = [removal](Transport& transport, Job& job, Nothing&) {
        transport.Remove(removal, job);
    };
    return d->Start<Nothing>(Operation::Remove, Lane::Control, remove, WithoutAnswer(std::move(onResult)));
}

long long OrvaneCloudProtocol::uploadFile(const QString& localPath, const Parameters& parameters,
                                          OnUploaded&& onResult, OnProgress&& onProgress)
{
    const bool isReady = parameters.contains(ID) ? d->IsReadyFor(Operation::Upload, parameters.value(ID))
                                                 : d->IsReadyFor(Operation::Upload);
    if (!isReady) {
        return INVALID_TICKET;
    }
    const auto source = Support::ToPath(localPath);
    if (!CanBeFile(source)) {
        return d->registry.Refuse(Operation::Upload, FailureCode::InvalidRequest,
                                  QStringLiteral("\"%1\" is not the path of a file").arg(localPath));
    }
    const Transport::Upload upload{fs::absolute(source), parameters.value(ID), parameters.value(MD5_HASH),
                                   KnownVersionOf(parameters)};
    const auto store = [upload](Transport& transport, Job& job, OrvaneCloudSharingResult& answer) {
        StoreAndDescribe(transport, upload, job, answer);
    };
    return d->Start<OrvaneCloudSharingResult>(Operation::Upload, Lane::Transfers, store,
                                              WithAnswer(std::move(onResult)), std::move(onProgress));
}

long long OrvaneCloudProtocol::userQuota(OnQuota&& onResult)
{
    if (!d->IsReadyFor(Operation::Quota)) {
        return INVALID_TICKET;
    }
    using Figures = QMap<QString, QuotaValue>;
    const auto ask = [](Transport& transport, Job& job, Figures& figures) {
        figures.insert(QStringLiteral("pdf"), transport.Quota(job));
    };
    return d->Start<Figures>(Operation::Quota, Lane::Control, ask, WithAnswer(std::move(onResult)));
}

long long OrvaneCloudProtocol::retrievePreview(const Parameters& parameters, OnPreview&& onResult)
{
    const QString id = parameters.value(ID);
    if (!d->IsReadyFor(Operation::Preview, id)) {
        return INVALID_TICKET;
    }
    const QSize box = BoxOf(parameters);
    if (box.isEmpty()) {
        return d->registry.Refuse(
            Operation::Preview, FailureCode::InvalidRequest,
            QStringLiteral("a preview has 1 to %1 pixels each way").arg(kLargestPreviewEdge));
    }
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        return d->StartUnsupported<QPixmap>(Operation::Preview, WithAnswer(std::move(onResult)),
                                            QStringLiteral("pictures need a QGuiApplication"));
    }
    return d->StartPreview(id, box, WithAnswer(std::move(onResult)));
}

} // namespace Orvane::Social
