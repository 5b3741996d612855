#include <OrvaneCloudHost/SessionCloudManager.h>

#include <OrvaneCloudHost/KeptLocalSide.h>
#include <OrvaneCloudHost/PictureFolder.h>
#include <OrvaneCloudHost/SessionProtocol.h>
#include <OrvaneCloudProtocol/OrvaneCloudProtocol.h>
#include <support/PathText.h>

#include <QPointer>

#include <glog/logging.h>

#include <optional>

namespace Orvane::PDF::Cloud {
namespace {

namespace fs = std::filesystem;
using Keys = Social::OrvaneCloudProtocol;

bool IsPlainName(const fs::path& name)
{
    return name == name.filename() && !name.empty() && name != "." && name != "..";
}

// The absolute path of the file to write; empty when the target names none.
QString FileOf(const FileInfo& document, const DownloadTarget& target)
{
    const auto cloudInfo = document.GetCloudInfo();
    if (!cloudInfo)
        return {};
    const auto name =
        target.fileName.isEmpty() ? fs::u8path(cloudInfo->GetFileName()) : Support::ToPath(target.fileName);
    std::error_code error;
    const auto folder = fs::absolute(Support::ToPath(target.folder), error);
    return error || !IsPlainName(name) ? QString() : Support::ToText(folder / name);
}

} // namespace

SessionCloudManager::SessionCloudManager(const Collaborators& collaborators, const PictureFolder& pictures)
    : OrvaneCloudManager(collaborators.protocol, collaborators.hashCalculator, collaborators.fileSystem,
                         collaborators.settings)
    , m_use(collaborators)
    , m_pictures(pictures)
{
    // Connected first, so that every other receiver finds the record complete.
    connect(this, &SessionCloudManager::DownloadingCanceled, this, [this] {
        if (m_hidden)
            m_hidden->GiveBack();
    });
}

SessionCloudManager::~SessionCloudManager()
{
    for (const auto ticket : qAsConst(m_previewTickets))
        m_use.protocol->cancelOperation(ticket);
}

void SessionCloudManager::Upload(const QString& path)
{
    const QPointer<SessionCloudManager> self(this);
    OrvaneCloudManager::Upload(path);
    if (self)
        m_use.protocol->AnnounceTransfers();
}

void SessionCloudManager::Upload(const Document& document)
{
    if (!document)
        return OrvaneCloudManager::Upload(document); // reports it
    const QPointer<SessionCloudManager> self(this);
    m_use.protocol->ChangeAs(*document, [&] { OrvaneCloudManager::Upload(document); });
    if (self)
        m_use.protocol->AnnounceTransfers();
}

void SessionCloudManager::RemoveFile(const Document& document)
{
    if (!document)
        return OrvaneCloudManager::RemoveFile(document); // throws
    NoteRemoval(document);
    m_use.protocol->ChangeAs(*document, [&] { OrvaneCloudManager::RemoveFile(document); });
}

void SessionCloudManager::NoteRemoval(const Document& document)
{
    for (auto known = m_cleanUps.begin(); known != m_cleanUps.end();)
        known = known->expired() ? m_cleanUps.erase(known) : std::next(known);
    if (m_use.protocol->TakeCleanUp())
        m_cleanUps.insert(document);
    else
        m_cleanUps.erase(document);
}

bool SessionCloudManager::IsCleanUp(const std::shared_ptr<const FileInfo>& document) const
{
    return m_cleanUps.find(document) != m_cleanUps.end();
}

void SessionCloudManager::Download(const Document& document, const QString& folder)
{
    Download(document, DownloadTarget{folder, ExistingFile::Replace});
}

void SessionCloudManager::Download(const Document& document, const DownloadTarget& target)
{
    if (!document)
        return OrvaneCloudManager::Download(document, target.folder); // throws
    std::optional<KeptLocalSide> before;
    const SessionProtocol::DownloadOrder order{
        document, FileOf(*document, target), target.existingFile, [&] { before.emplace(document); },
        [this, document](RequestResult result) { PrepareForResult(document, result); }};
    const QPointer<SessionCloudManager> self(this);
    m_use.protocol->DownloadAs(order, [&] { OrvaneCloudManager::Download(order.document, target.folder); });
    if (before)
        before->GiveBack();
    if (self)
        m_use.protocol->AnnounceTransfers();
}

// The manager will copy the record next and, after a cancellation, delete the file at the record's path.
void SessionCloudManager::PrepareForResult(const Document& document, RequestResult result)
{
    if (result == RequestResult::Canceled)
        m_hidden = HideLocalSide(document);
    if (result != RequestResult::Success)
        return;
    const auto file = m_use.protocol->Client().LastDownloadedFile();
    const auto path = m_use.fileSystem->NormalizePath(ioPath::from(file));
    document->SetPath(path, m_use.hashCalculator->CalculateFileHash(path));
}

void SessionCloudManager::CancelDownloading(const Document& document)
{
    if (!document || !m_use.protocol->loggedIn())
        return OrvaneCloudManager::CancelDownloading(document); // reports why
    const auto hidden = m_hidden = HideLocalSide(document);
    OrvaneCloudManager::CancelDownloading(document);
    hidden->GiveBack(); // there is no signal when no download was running
}

std::shared_ptr<KeptLocalSide> SessionCloudManager::HideLocalSide(const Document& document)
{
    const auto kept = std::make_shared<KeptLocalSide>(document);
    document->SetPath(ioPath(), std::string());
    return kept;
}

void SessionCloudManager::RetrieveFilePreview(const Document& document, FileInfo::PreviewSize previewSize,
                                              const QSize& size)
{
    const bool isPossible = m_use.protocol->loggedIn() && document &&
                            document->GetCloudStatus() != FileInfo::CloudStatus::NotUploaded;
    if (!isPossible)
        return OrvaneCloudManager::RetrieveFilePreview(document, previewSize, size); // reports why
    StartPreview(document, previewSize, size);
}

// The arguments are copies: a receiver of the first signal may destroy the caller's.
void SessionCloudManager::StartPreview(Document document, FileInfo::PreviewSize previewSize, QSize size)
{
    const QPointer<SessionCloudManager> self(this);
    Q_EMIT RetrieveFilePreviewStarted(document, previewSize);
    if (!self)
        return;
    const auto ticket = RequestPreview(document, previewSize, size);
    if (ticket != Social::INVALID_TICKET) {
        m_previewTickets.insert(ticket);
        return;
    }
    const auto message = QStringLiteral("Retrieve file preview failed");
    LOG(ERROR) << message.toStdString();
    Q_EMIT RetrieveFilePreviewError(document, previewSize, message);
}

long long SessionCloudManager::RequestPreview(const Document& document, FileInfo::PreviewSize previewSize,
                                              const QSize& size)
{
    return m_use.protocol->retrievePreview(
        {{Keys::ID, QString::fromStdString(document->GetId())},
         {Keys::FILE_PREVIEW_HEIGHT, QString::number(size.height())},
         {Keys::FILE_PREVIEW_WIDTH, QString::number(size.width())}},
        [this, document, previewSize](long long answered, RequestResult result, const QPixmap& image) {
            if (m_previewTickets.remove(answered))
                OnPreview(document, previewSize, result, image);
        });
}

void SessionCloudManager::OnPreview(const Document& document, FileInfo::PreviewSize previewSize,
                                    RequestResult result, const QPixmap& image)
{
    auto& cloudInfo = document->GetRedactableCloudInfo();
    const auto stored = result == RequestResult::Success && cloudInfo
                            ? m_pictures.Store(document->GetId(), previewSize, image)
                            : std::nullopt;
    if (!stored) // the base class reports the failure: it cannot save an empty picture
        return OnRetrieveFilePreviewCompleted(document, previewSize, result, QPixmap());
    cloudInfo->SetPreviewPathBySize(*stored, previewSize);
    Q_EMIT RetrieveFilePreviewFinished(Document(document), previewSize);
}

} // namespace Orvane::PDF::Cloud
