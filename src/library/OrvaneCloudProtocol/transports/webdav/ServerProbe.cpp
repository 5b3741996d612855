#include <OrvaneCloudProtocol/transports/webdav/ServerProbe.h>

#include <OrvaneCloudProtocol/transports/http/NetworkError.h>
#include <OrvaneCloudProtocol/transports/webdav/Md5Note.h>
#include <OrvaneCloudProtocol/transports/webdav/PropertyRequests.h>

namespace Orvane::Social {

namespace {

using MoveOutcome = WebDavCollection::MoveOutcome;
using Overwrite = WebDavCollection::Overwrite;

// Of different sizes, so that they can be told apart on a server without entity tags.
constexpr std::string_view kShort = "%PDF-1.4";
constexpr std::string_view kLong = "%PDF-1.4 %%EOF";

const QByteArray kAnyMd5 = "d41d8cd98f00b204e9800998ecf8427e";
const QByteArray kWrongTag = "\"orvane-cloud-no-such-version\"";

} // namespace

ServerProbe::ServerProbe(WebDavCollection& collection, RemoteTemporaries& temporaries, Job& job)
    : m_collection(collection)
    , m_temporaries(temporaries)
    , m_job(job)
{}

ServerTraits ServerProbe::Run()
{
    ServerTraits traits;
    SendBoth();
    traits.keepsOverwriteRule = KeepsOverwriteRule();
    if (!traits.keepsOverwriteRule) {
        SendBoth();
    }
    traits.honoursIfOnMove = HonoursIf();
    if (!traits.honoursIfOnMove) {
        m_second = Send(kLong);
    }
    traits.readsEscapes = ReadsEscapes();
    TryFreeName(traits);
    traits.keepsProperties = Holds([this] { return KeepsProperties(); });
    traits.servesRanges = Holds([this] { return ServesRanges(); });
    traits.tellsQuota = Holds([this] { return TellsQuota(); });
    return traits;
}

bool ServerProbe::Holds(const std::function<bool()>& question)
{
    try {
        return question();
    } catch (const CloudError& error) {
        m_job.ThrowIfCanceled();
        if (error.GetFailure().code == FailureCode::TimedOut) {
            throw;
        }
        return false;
    }
}

ServerProbe::Sample ServerProbe::Unsent(std::string_view content)
{
    const auto size = static_cast<qint64>(content.size());
    return {content, std::make_unique<Temporary>(m_temporaries, size, m_job)};
}

ServerProbe::Sample ServerProbe::Send(std::string_view content)
{
    auto sample = Unsent(content);
    const auto path = m_collection.PathOf(sample.temporary->Name());
    const auto body = [content](const HttpBodyWriter& write) { write(content.data(), content.size()); };
    sample.temporary->RecordStart();
    const auto answer = m_collection.Server().Put(path, static_cast<qint64>(content.size()), body, m_job);
    sample.temporary->RecordAnswer(answer.status);
    if (!answer.IsSuccess()) {
        throw StatusError(m_collection.Server().ChangeOf("PUT", path), answer);
    }
    return sample;
}

void ServerProbe::SendBoth()
{
    m_first = Send(kShort);
    m_second = Send(kLong);
}

DavResource ServerProbe::Look(const Sample& sample)
{
    const auto& name = sample.temporary->Name();
    return m_collection.RequiredDocument(name, m_collection.Find(name, m_job));
}

std::optional<WebDavCollection::MoveOutcome> ServerProbe::TryMove(const std::string& from,
                                                                  const WebDavCollection::Destination& to)
{
    try {
        return m_collection.Move(from, to, m_job);
    } catch (const CloudError& error) {
        m_job.ThrowIfCanceled();
        if (error.GetFailure().code == FailureCode::TimedOut) { // a server that hangs is not asked for more
            throw;
        }
        return std::nullopt;
    }
}

// What is answered counts as little as what is there alone: some servers show what was there before.
bool ServerProbe::IsRefused(Overwrite overwrite, const QByteArray& requiredTag)
{
    m_second.temporary->RecordStart(); // the shorter one may come under its name
    const auto outcome =
        TryMove(m_first.temporary->Name(), {m_second.temporary->Name(), overwrite, requiredTag});
    return outcome == MoveOutcome::Refused && HasOwnSize(m_second) && HasOwnSize(m_first);
}

bool ServerProbe::HasOwnSize(const Sample& sample)
{
    const auto found = m_collection.Find(sample.temporary->Name(), m_job);
    return found && found->size == static_cast<qint64>(sample.content.size());
}

bool ServerProbe::KeepsOverwriteRule()
{
    return IsRefused(Overwrite::No, {});
}

// A server that refuses every condition is of no more use than one that heeds none.
bool ServerProbe::HonoursIf()
{
    const auto tag = DocumentVersion::Of(Look(m_second)).TagForConditions();
    if (tag.isEmpty() || !IsRefused(Overwrite::Yes, kWrongTag)) {
        return false;
    }
    (void)TryMove(m_first.temporary->Name(), {m_second.temporary->Name(), Overwrite::Yes, tag});
    m_second.content = m_first.content;
    if (!HasOwnSize(m_second)) {
        return false;
    }
    m_first.temporary->Release();
    return true;
}

// XRootD takes the escapes for the name itself, and so another document for the one that is to be replaced. A
// server that refuses them stores nothing under a wrong name.
bool ServerProbe::ReadsEscapes()
{
    auto moved = Unsent(m_second.content);
    const auto& name = moved.temporary->Name();
    moved.temporary->RecordStart();
    (void)TryMove(m_second.temporary->Name(), {name, Overwrite::No, {}, {}, true});
    if (m_collection.Find(m_second.temporary->Name(), m_job)) {
        return true;
    }
    m_second.temporary->Release();
    if (m_collection.Find(name, m_job)) {
        m_second = std::move(moved);
        return true;
    }
    // The sample is deleted under the name that it should have got.
    (void)TryMove(WebDavCollection::FullyEscaped(name).toStdString(), {name, Overwrite::No});
    m_second = Send(kLong);
    return false;
}

void ServerProbe::TryFreeName(ServerTraits& traits)
{
    const auto before = DocumentVersion::Of(Look(m_second));
    auto moved = Unsent(m_second.content);
    moved.temporary->RecordStart();
    const auto outcome =
        m_collection.Move(m_second.temporary->Name(), {moved.temporary->Name(), Overwrite::No}, m_job);
    traits.reportsCreation = outcome == MoveOutcome::Created;
    traits.keepsTagOnMove = DocumentVersion::Of(Look(moved)).HasTagOf(before);
    m_second.temporary->Release();
    m_second = std::move(moved);
}

bool ServerProbe::KeepsProperties()
{
    const auto note = Md5NoteOf(kAnyMd5, 0, kWrongTag);
    (void)m_collection.SetMd5Note(m_second.temporary->Name(), note, m_job);
    return Look(m_second).md5Note == note;
}

// As a download that resumes asks for it, with the tag that the server has given to the whole.
bool ServerProbe::ServesRanges()
{
    constexpr int kBegin = 5;
    std::string received;
    const auto keep = [&received](const HttpResponse&, const char* data, std::size_t size) {
        if (received.append(data, size).size() > kLong.size()) {
            throw CloudError(FailureCode::Protocol, QStringLiteral("more has come than is there"));
        }
    };
    const auto path = m_collection.PathOf(m_second.temporary->Name());
    const auto tag = m_collection.Server().Get(path, {}, keep, m_job).entityTag;
    received.clear();
    std::vector<QByteArray> headers{"Range: bytes=" + QByteArray::number(kBegin) + '-'};
    if (tag.startsWith('"')) { // a weak one may not be used (RFC 9110 §13.1.5)
        headers.push_back("If-Range: " + tag);
    }
    const auto answer = m_collection.Server().Get(path, headers, keep, m_job);
    return answer.status == 206 && received == m_second.content.substr(kBegin);
}

bool ServerProbe::TellsQuota()
{
    const auto self = m_collection.Self(PropfindForQuota(), m_job);
    return self.quotaUsed.value_or(-1) >= 0 || self.quotaAvailable.value_or(-1) >= 0;
}

} // namespace Orvane::Social
