#include <OrvaneCloudProtocol/transports/webdav/WebDavUpload.h>

#include <OrvaneCloudProtocol/DocumentId.h>
#include <OrvaneCloudProtocol/transports/NewDocumentName.h>
#include <OrvaneCloudProtocol/transports/SourceFile.h>
#include <OrvaneCloudProtocol/transports/http/NetworkError.h>
#include <OrvaneCloudProtocol/transports/http/RetryPolicy.h>
#include <OrvaneCloudProtocol/transports/webdav/Md5Note.h>
#include <OrvaneCloudProtocol/transports/webdav/PropertyRequests.h>
#include <OrvaneCloudProtocol/transports/webdav/ServerProbe.h>
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
    m_context.traits.Require(
        [this](Job& asking) { return ServerProbe(m_collection, m_context.temporaries, asking).Run(); }, job);
    RequireNameable(IsReplacement() ? m_replacedName : m_upload.source.filename().string());
    for (int races = 0; races < kMostRaces; ++races) {
        if (const auto stored = TryOnce(job)) {
            return *stored;
        }
    }
    throw Conflict(m_upload.source.filename().string(),
                   QStringLiteral("others keep taking the name at the same moment"));
}

void WebDavUpload::RequireNameable(const std::string& name) const
{
    const auto traits = m_context.traits.Find();
    if (traits && !traits->readsEscapes && m_collection.PathOf(name).contains('%')) {
        throw CloudError(FailureCode::Unsupported,
                         Text(name) +
                             QStringLiteral(": this server would store it under another name; give it "
                                            "one of plain letters, digits, \"-\", \"_\" and \".\""));
    }
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
    if (m_context.traits.Has(&ServerTraits::keepsTagOnMove)) {
        m_context.seen.Note(name, DocumentVersion::Of(sent.resource, sent.md5));
    } else {
        m_context.seen.Forget(name);
    }
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
        const qint64 size = SourceFile(m_upload.source, FileSide::Local).Size();
        ProveSignInBeforeLargeBody(size, job);
        // A fresh name each time: an earlier request may still be under way at the server.
        auto temporary = std::make_unique<Temporary>(m_context.temporaries, size, job);
        const auto outcome = Put(*temporary, sent, job);
        if (!outcome.trouble || HasArrivedAllTheSame(temporary->Name(), sent, job)) {
            Verify(temporary->Name(), sent, job);
            return temporary;
        }
        if (outcome.isTimeOut || !m_collection.Server().WaitToRepeat(
                                     repetitions, CloudErrorIn(outcome.trouble), outcome.answer, job)) {
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
        temporary.RecordStart();
        const auto answer = server.Put(path, sent.size, body, job);
        temporary.RecordAnswer(answer.status);
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
                .arg(QString::number(found ? found->size.value_or(0) : 0), QString::number(sent.size)));
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
    const bool isKept = m_context.traits.Has(&ServerTraits::keepsProperties);
    if (!isKept || note.isEmpty() || !sent.resource.serverMd5.isEmpty()) {
        return;
    }
    try {
        const auto answer = m_collection.SetMd5Note(name, note, job);
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
        RequireNameable(name);
        const KeyedMutex::Lock lock(m_context.finalNames, name, job);
        if (TakesName(temporary, name, job)) {
            return name;
        }
    }
    throw Conflict(m_upload.source.filename().string(),
                   QStringLiteral("this name and its numbered forms are all taken"));
}

bool WebDavUpload::TakesName(const std::string& temporary, const std::string& name, Job& job)
{
    // A server that does not keep the rule (XRootD) replaces what is there: nothing but a look protects it.
    const bool isRuleKept = m_context.traits.Has(&ServerTraits::keepsOverwriteRule);
    if (!isRuleKept && m_collection.Find(name, job)) {
        return false;
    }
    const auto outcome = m_collection.Move(temporary, {name, WebDavCollection::Overwrite::No, {}}, job);
    if (outcome == WebDavCollection::MoveOutcome::Replaced &&
        m_context.traits.Has(&ServerTraits::reportsCreation)) {
        m_context.traits.Contradict(&ServerTraits::keepsOverwriteRule);
    }
    // On a server that copies and then fails, every further name would get a copy.
    if (outcome == WebDavCollection::MoveOutcome::Overtaken && ++m_timesOvertaken > kMostRaces) {
        throw Conflict(name, QStringLiteral("names keep being taken while the server is waited for"));
    }
    return outcome == WebDavCollection::MoveOutcome::Created ||
           outcome == WebDavCollection::MoveOutcome::Replaced;
}

void WebDavUpload::ReplaceWith(const std::string& temporary, Job& job)
{
    RequireReplaceable(job); // sending took its time
    const auto tag = m_replacedVersion->TagForConditions();
    if (tag.isEmpty() || !m_context.traits.Has(&ServerTraits::honoursIfOnMove)) {
        ReplaceUnconditionally(temporary, job);
        return;
    }
    const auto outcome = m_collection.Move(
        temporary, {m_replacedName, WebDavCollection::Overwrite::Yes, tag, m_replacedVersion}, job);
    if (outcome == WebDavCollection::MoveOutcome::Refused) {
        RequireReplaceable(job);
        m_context.traits.Contradict(&ServerTraits::honoursIfOnMove); // it is still the version that we named
        ReplaceUnconditionally(temporary, job);
    }
}

void WebDavUpload::ReplaceUnconditionally(const std::string& temporary, Job& job)
{
    const auto outcome = m_collection.Move(
        temporary, {m_replacedName, WebDavCollection::Overwrite::Yes, {}, m_replacedVersion}, job);
    if (outcome == WebDavCollection::MoveOutcome::Refused) {
        RequireReplaceable(job);
        throw Conflict(m_replacedName, QStringLiteral("the server refuses to replace it"));
    }
}

// Some servers let two moves to the same name succeed (Apache's mod_dav_fs looks first and renames then).
// Wait until a competing MOVE has finished before checking whose document it is. There is likely to be one
// where names before this one were taken, and where a document is replaced that others know, too.
void WebDavUpload::LetRivalsFinish(Job& job) const
{
    if (m_number > 1 || IsReplacement()) {
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
    if (!sent.note.isEmpty() && found->md5Note.isEmpty()) { // another one is that of a rival
        m_context.traits.Contradict(&ServerTraits::keepsProperties);
    }
    if (!DocumentVersion::Of(*found).HasTagOf(DocumentVersion::Of(sent.resource))) {
        m_context.traits.Contradict(&ServerTraits::keepsTagOnMove);
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
    qint64 received = 0;
    const auto read = [&](const HttpResponse&, const char* data, std::size_t size) {
        received += static_cast<qint64>(size);
        if (received > sent.size) {
            throw Conflict(name, QStringLiteral("has more bytes than were sent"));
        }
        md5.Add(data, size);
    };
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
        const auto isOurs = [&sent](const DavResource& now) { return OwnerOf(now, sent) == Owner::Us; };
        return isOurs(*found) &&
               m_collection.DeleteOwn(name, isOurs, job) != WebDavCollection::Removal::Failed;
    } catch (const CloudError&) {
        return false;
    }
}

} // namespace Orvane::Social
