#include <OrvaneCloudProtocol/transports/webdav/WebDavUpload.h>

#include <OrvaneCloudProtocol/DocumentId.h>
#include <OrvaneCloudProtocol/transports/NewDocumentName.h>
#include <OrvaneCloudProtocol/transports/SourceFile.h>
#include <OrvaneCloudProtocol/transports/http/NetworkError.h>
#include <OrvaneCloudProtocol/transports/http/RetryPolicy.h>
#include <OrvaneCloudProtocol/transports/webdav/Md5Note.h>
#include <OrvaneCloudProtocol/transports/webdav/PropertyRequests.h>
#include <support/PathText.h>

namespace Orvane::Social {

namespace {

constexpr int kMostRaces = 10;
constexpr qint64 kLargeBody = 1024 * 1024;

QString Text(const std::string& name)
{
    return ReadableNameOf(name);
}

CloudError Conflict(const std::string& name, const QString& reason)
{
    return CloudError(FailureCode::Conflict, Text(name) + QStringLiteral(": ") + reason);
}

} // namespace

WebDavUpload::WebDavUpload(UploadContext& context, const Transport::Upload& upload,
                           const std::string& replacedName, const std::optional<DocumentVersion>& lastSeen)
    : m_context(context)
    , m_collection(context.collection)
    , m_upload(upload)
    , m_replacedName(replacedName)
    , m_replacedVersion(lastSeen)
{}

WebDavUpload::Stored WebDavUpload::Run(Job& job)
{
    if (IsReplacement()) {
        RequireReplaceable(job);
    } else {
        RequireNameOfNewDocument(m_upload.source);
    }
    for (int races = 0; races < kMostRaces; ++races) {
        if (const auto stored = TryOnce(job)) {
            return *stored;
        }
    }
    throw Conflict(m_upload.source.filename().string(),
                   QStringLiteral("others keep taking the name at the same moment"));
}

void WebDavUpload::RequireReplaceable(Job& job)
{
    const auto now = DocumentVersion::Of(m_collection.RequiredDocument(m_replacedName, job));
    if (m_replacedVersion && !m_replacedVersion->IsSameAs(now)) {
        throw Conflict(m_replacedName, QStringLiteral("has changed since it was last seen"));
    }
    m_replacedVersion = now;
}

std::optional<WebDavUpload::Stored> WebDavUpload::TryOnce(Job& job)
{
    Sent sent;
    const auto temporary = Send(sent, job);
    LeaveNote(temporary->Name(), sent, job);
    const auto name = MoveIntoPlace(temporary->Name(), job);
    temporary->Release();
    try {
        job.ThrowIfCanceled();
        return Confirm(name, sent, job);
    } catch (const CloudError& error) {
        Undo(name, sent, error);
    }
}

std::unique_ptr<WebDavUpload::Temporary> WebDavUpload::Send(Sent& sent, Job& job)
{
    // A fresh name each time: an earlier request may still be under way at the server.
    for (int repetitions = 0;; ++repetitions) {
        auto temporary = std::make_unique<Temporary>(m_context.temporaries);
        if (TrySend(temporary->Name(), sent, repetitions, job)) {
            return temporary;
        }
    }
}

bool WebDavUpload::TrySend(const std::string& temporary, Sent& sent, int repetitions, Job& job)
{
    SourceFile source(m_upload.source, FileSide::Local);
    ProveSignInBeforeLargeBody(source.Size(), job);
    sent = {};
    sent.size = source.Size();
    auto& server = m_collection.Server();
    const auto path = m_collection.PathOf(temporary);
    const auto body = [&](const HttpBodyWriter& write) { sent.md5 = source.ReadInto(write, job).toLatin1(); };
    HttpResponse answer;
    try {
        answer = server.Put(path, sent.size, body, job);
        if (!answer.IsSuccess() && !IsPassing(answer.status)) {
            throw m_collection.ErrorOf(server.ChangeOf("PUT", path), answer, job);
        }
        if (answer.IsSuccess()) {
            Verify(temporary, sent, job);
            return true;
        }
        if (!server.WaitToRepeat(repetitions, answer, job)) {
            throw StatusError(server.ChangeOf("PUT", path), answer);
        }
    } catch (const NetworkError& error) {
        if (error.GetStage() == NetworkError::Stage::Hopeless) {
            throw;
        }
        if (HasArrivedAllTheSame(temporary, sent, job)) {
            Verify(temporary, sent, job);
            return true;
        }
        if (error.GetFailure().code == FailureCode::TimedOut || !server.WaitToRepeat(repetitions, {}, job)) {
            throw;
        }
    }
    return false;
}

// Some servers swallow the whole body before they say that nobody is signed in.
void WebDavUpload::ProveSignInBeforeLargeBody(qint64 size, Job& job)
{
    if (size >= kLargeBody) {
        (void)m_collection.Self(PropfindForDocuments(), job);
    }
}

// Also tells what a connection that broke in the middle has hidden: a sign-in that has ended, for one.
bool WebDavUpload::HasArrivedAllTheSame(const std::string& temporary, const Sent& sent, Job& job)
{
    const auto found = m_collection.Find(temporary, job);
    return found && !sent.md5.isEmpty() && found->size == sent.size;
}

void WebDavUpload::Verify(const std::string& temporary, Sent& sent, Job& job)
{
    if (!m_upload.expectedMd5.isEmpty() && m_upload.expectedMd5.toLower().toLatin1() != sent.md5) {
        throw CloudError(FailureCode::Conflict, Support::ToText(m_upload.source) +
                                                    QStringLiteral(": is no longer what was to be uploaded"));
    }
    const auto found = m_collection.Find(temporary, job);
    const bool isWhole = found && !sent.md5.isEmpty() && found->size.value_or(sent.size) == sent.size;
    if (!isWhole) {
        throw CloudError(
            FailureCode::Protocol,
            QStringLiteral("the server says that it has stored the file, and has kept %1 of %2 bytes")
                .arg(found ? found->size.value_or(0) : 0)
                .arg(sent.size));
    }
    if (!found->serverMd5.isEmpty() && found->serverMd5 != sent.md5) {
        throw CloudError(FailureCode::Protocol,
                         QStringLiteral("the server has stored other bytes than were sent"));
    }
    sent.resource = *found;
}

void WebDavUpload::LeaveNote(const std::string& temporary, Sent& sent, Job& job)
{
    const auto note = Md5NoteOf(sent.md5, sent.size, sent.resource.entityTag);
    if (!m_context.keepsNotes || note.isEmpty() || !sent.resource.serverMd5.isEmpty()) {
        return;
    }
    auto request = m_collection.Server().ChangeOf("PROPPATCH", m_collection.PathOf(temporary));
    request.headers.push_back("Content-Type: text/xml; charset=utf-8");
    request.body = ProppatchOfMd5Note(note);
    try {
        const auto answer = m_collection.Server().Change(request, job);
        m_context.keepsNotes = answer.status == 207;
        sent.note = m_context.keepsNotes ? note : QByteArray();
    } catch (const NetworkError&) { // the document is worth more than the note
    }
    job.ThrowIfCanceled();
}

std::string WebDavUpload::MoveIntoPlace(const std::string& temporary, Job& job)
{
    if (IsReplacement()) {
        ReplaceWith(temporary, job);
        return m_replacedName;
    }
    for (; m_number <= kMostNamesTried; ++m_number) {
        job.ThrowIfCanceled();
        const auto name = NumberedName(m_upload.source.filename().string(), m_number);
        const auto outcome = m_collection.Move(temporary, name, WebDavCollection::Overwrite::No, job);
        if (outcome == WebDavCollection::MoveOutcome::Moved) {
            return name;
        }
    }
    throw Conflict(m_upload.source.filename().string(),
                   QStringLiteral("this name and its numbered forms are all taken"));
}

void WebDavUpload::ReplaceWith(const std::string& temporary, Job& job)
{
    RequireReplaceable(job); // sending took its time
    (void)m_collection.Move(temporary, m_replacedName, WebDavCollection::Overwrite::Yes, job);
}

std::optional<WebDavUpload::Stored> WebDavUpload::Confirm(const std::string& name, const Sent& sent, Job& job)
{
    const auto found = LookAgain(name, job);
    if (!IsOurs(found, sent)) {
        if (IsReplacement()) {
            throw Conflict(name, QStringLiteral("was replaced by somebody else at the same moment"));
        }
        return std::nullopt;
    }
    if (!sent.note.isEmpty() && found.md5Note != sent.note) {
        m_context.keepsNotes = false;
    }
    return Stored{name, found, sent.md5};
}

DavResource WebDavUpload::LookAgain(const std::string& name, Job& job)
{
    // While a document takes another's place, some servers have none under its name for a moment.
    auto found = m_collection.Find(name, job);
    if (!found) {
        job.Sleep(m_collection.Server().Limits().firstRetry);
        found = m_collection.Find(name, job);
    }
    if (!found) {
        throw Conflict(name, QStringLiteral("has gone again at once"));
    }
    return *found;
}

bool WebDavUpload::IsOurs(const DavResource& found, const Sent& sent)
{
    if (found.isCollection || found.size.value_or(sent.size) != sent.size) {
        return false;
    }
    if (found.entityTag.isEmpty() || sent.resource.entityTag.isEmpty() ||
        found.entityTag == sent.resource.entityTag) {
        return true;
    }
    // A tag should survive the move. Where it does not, what is known of the content decides.
    return (!sent.note.isEmpty() && found.md5Note == sent.note) || found.serverMd5 == sent.md5;
}

void WebDavUpload::Undo(const std::string& name, const Sent& sent, const CloudError& why)
{
    if (IsReplacement() || IsUndone(name, sent)) {
        throw why;
    }
    throw LeftBehindError(why, DocumentIdOf(name));
}

bool WebDavUpload::IsUndone(const std::string& name, const Sent& sent)
{
    try {
        Job asking;
        const auto found = m_collection.Find(name, asking, m_collection.Server().Limits().afterCancel);
        return !found || !IsOurs(*found, sent) ||
               m_collection.TakeAway(name, DocumentVersion::Of(*found).StrongEntityTag());
    } catch (const CloudError&) {
        return false;
    }
}

} // namespace Orvane::Social
