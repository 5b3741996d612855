#include <OrvaneCloudProtocol/transports/webdav/WebDavUpload.h>

#include <OrvaneCloudProtocol/DocumentId.h>
#include <OrvaneCloudProtocol/transports/NewDocumentName.h>
#include <OrvaneCloudProtocol/transports/SourceFile.h>
#include <OrvaneCloudProtocol/transports/http/NetworkError.h>
#include <OrvaneCloudProtocol/transports/http/RetryPolicy.h>
#include <OrvaneCloudProtocol/transports/webdav/Md5Note.h>
#include <OrvaneCloudProtocol/transports/webdav/PropertyRequests.h>
#include <support/Md5.h>
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
                           const std::string& replacedName)
    : m_context(context)
    , m_collection(context.collection)
    , m_upload(upload)
    , m_replacedName(replacedName)
    , m_replacedVersion(context.seen.Find(replacedName))
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
    const auto found = m_replacedVersion ? m_collection.FindAgain(m_replacedName, job)
                                         : m_collection.Find(m_replacedName, job);
    const auto now = DocumentVersion::Of(m_collection.RequiredDocument(m_replacedName, found));
    if (m_replacedVersion && !m_replacedVersion->IsSameAs(now)) {
        throw Conflict(m_replacedName, QStringLiteral("has changed since it was last seen"));
    }
    m_replacedVersion = now;
}

std::optional<WebDavUpload::Stored> WebDavUpload::TryOnce(Job& job)
{
    Sent sent;
    const auto temporary = Send(sent, job);
    const auto name = MoveIntoPlace(temporary->Name(), job);
    m_context.seen.Note(name, DocumentVersion::Of(sent.resource, sent.md5));
    try {
        job.ThrowIfCanceled();
        LetRivalsFinish(job);
        LeaveNote(name, sent, job);
        auto stored = Confirm(name, sent, job);
        if (stored) {
            temporary->Release();
        }
        return stored;
    } catch (const CloudError& error) {
        Undo(name, sent, error, job);
    }
}

std::unique_ptr<WebDavUpload::Temporary> WebDavUpload::Send(Sent& sent, Job& job)
{
    for (int repetitions = 0;; ++repetitions) {
        ProveSignInBeforeLargeBody(SourceFile(m_upload.source, FileSide::Local).Size(), job);
        // A fresh name each time: an earlier request may still be under way at the server.
        auto temporary = std::make_unique<Temporary>(m_context.temporaries, job);
        const auto outcome = Put(*temporary, sent, job);
        if (!outcome.trouble || HasArrivedAllTheSame(temporary->Name(), sent, job)) {
            Verify(temporary->Name(), sent, job);
            return temporary;
        }
        if (outcome.isTimeOut || !m_collection.Server().WaitToRepeat(repetitions, outcome.answer, job)) {
            std::rethrow_exception(outcome.trouble);
        }
    }
}

WebDavUpload::PutOutcome WebDavUpload::Put(Temporary& temporary, Sent& sent, Job& job)
{
    SourceFile source(m_upload.source, FileSide::Local);
    sent = {};
    sent.size = source.Size();
    auto& server = m_collection.Server();
    const auto path = m_collection.PathOf(temporary.Name());
    const auto request = server.ChangeOf("PUT", path);
    const auto body = [&](const HttpBodyWriter& write) { sent.md5 = source.ReadInto(write, job).toLatin1(); };
    try {
        const auto answer = server.Put(path, sent.size, body, job);
        temporary.NoteAnswer();
        if (answer.IsSuccess()) {
            return {};
        }
        if (!IsPassing(answer.status)) {
            throw m_collection.ErrorOf(request, answer, job);
        }
        return {std::make_exception_ptr(StatusError(request, answer)), answer};
    } catch (const NetworkError& error) {
        if (error.IsHopeless()) {
            throw;
        }
        return {std::current_exception(), {}, error.GetFailure().code == FailureCode::TimedOut};
    }
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

void WebDavUpload::LeaveNote(const std::string& name, Sent& sent, Job& job)
{
    const auto note = Md5NoteOf(sent.md5, sent.size, sent.resource.entityTag);
    if (!m_context.keepsNotes || note.isEmpty() || !sent.resource.serverMd5.isEmpty()) {
        return;
    }
    auto request = m_collection.Server().ChangeOf("PROPPATCH", m_collection.PathOf(name));
    request.headers.push_back("Content-Type: text/xml; charset=utf-8");
    request.body = ProppatchOfMd5Note(note);
    try {
        const auto answer = m_collection.Server().Change(request, job);
        const bool isRefused =
            answer.status == 403 || answer.status == 405 || answer.status == 415 || answer.status == 501;
        if (isRefused) {
            m_context.keepsNotes = false;
        }
        sent.note = answer.status == 207 ? note : QByteArray();
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
        const KeyedMutex::Lock turn(m_context.finalNames, name, job);
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

// Some servers let two moves to the same new name succeed (Apache's mod_dav_fs looks for it first and renames
// then). Whoever was so close must have ended before it is looked who has won; that they are close is likely
// where names before this one were taken.
void WebDavUpload::LetRivalsFinish(Job& job) const
{
    if (m_number > 1) {
        job.Sleep(m_collection.Server().Limits().firstRetry / 8);
    }
}

std::optional<WebDavUpload::Stored> WebDavUpload::Confirm(const std::string& name, const Sent& sent, Job& job)
{
    const auto found = m_collection.FindAgain(name, job);
    if (!found) {
        throw Conflict(name, QStringLiteral("has gone again at once"));
    }
    const auto owner = OwnerOf(*found, sent);
    const bool isOurs = owner == Owner::Us || (owner == Owner::Unclear && HoldsWhatWasSent(name, sent, job));
    if (!isOurs) {
        m_context.seen.Forget(name);
        if (IsReplacement()) {
            throw Conflict(name, QStringLiteral("was replaced by somebody else at the same moment"));
        }
        return std::nullopt;
    }
    if (!sent.note.isEmpty() && found->md5Note != sent.note) {
        m_context.keepsNotes = false;
    }
    m_context.seen.Note(name, DocumentVersion::Of(*found, sent.md5));
    return Stored{name, *found, sent.md5};
}

// Not by the note, which a rival's document has got from us when it has won the name.
WebDavUpload::Owner WebDavUpload::OwnerOf(const DavResource& found, const Sent& sent)
{
    const bool isOtherContent = found.isCollection || found.size.value_or(sent.size) != sent.size ||
                                (!found.serverMd5.isEmpty() && found.serverMd5 != sent.md5);
    if (isOtherContent) {
        return Owner::SomebodyElse;
    }
    const auto now = DocumentVersion::Of(found);
    const auto before = DocumentVersion::Of(sent.resource);
    const bool isSameWithoutTags =
        now.entityTag.isEmpty() && before.entityTag.isEmpty() && now.modifiedAt == before.modifiedAt;
    return now.HasTagOf(before) || isSameWithoutTags ? Owner::Us : Owner::Unclear;
}

// A tag should survive the move. Where it does not, and nothing else tells, the content decides.
bool WebDavUpload::HoldsWhatWasSent(const std::string& name, const Sent& sent, Job& job)
{
    Support::Md5 md5;
    const auto read = [&](const HttpResponse&, const char* data, std::size_t size) { md5.Add(data, size); };
    const auto answer = m_collection.Server().Get(m_collection.PathOf(name), {}, read, job);
    return answer.status == 200 && QByteArray::fromStdString(md5.Result()).toHex() == sent.md5;
}

void WebDavUpload::Undo(const std::string& name, const Sent& sent, const CloudError& why, Job& job)
{
    if (IsReplacement() || IsUndone(name, sent, job)) {
        throw why;
    }
    throw LeftBehindError(why, DocumentIdOf(name));
}

bool WebDavUpload::IsUndone(const std::string& name, const Sent& sent, Job& job)
{
    try {
        const auto found = m_collection.FindAnyway(name, job);
        if (!found || OwnerOf(*found, sent) == Owner::SomebodyElse) {
            return true;
        }
        const auto tag = DocumentVersion::Of(*found).StrongEntityTag();
        return OwnerOf(*found, sent) == Owner::Us &&
               m_collection.TakeAway(name, tag, job) != WebDavCollection::Removal::Failed;
    } catch (const CloudError&) {
        return false;
    }
}

} // namespace Orvane::Social
