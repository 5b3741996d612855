#include <OrvaneCloudProtocol/transports/webdav/DocumentReceiver.h>

#include <OrvaneCloudProtocol/transports/FileFailure.h>
#include <OrvaneCloudProtocol/transports/Job.h>
#include <OrvaneCloudProtocol/transports/http/NetworkError.h>
#include <OrvaneCloudProtocol/transports/http/RetryPolicy.h>
#include <support/PartFile.h>

namespace Orvane::Social {

namespace {

constexpr int kMostRestarts = 3;
constexpr qint64 kWorthNewPatience = 1024 * 1024;

/// Of a document whose size the server tells nowhere.
constexpr qint64 kMostWithoutSize = qint64{4} * 1024 * 1024 * 1024;

/// What was received is of no use for going on.
class RestartNeeded : public std::exception
{};

/// The answer may be another one a little later.
class PassingTrouble : public CloudError
{
public:
    PassingTrouble(const CloudError& error, const HttpResponse& answer)
        : CloudError(error)
        , m_answer(answer)
    {}

    [[nodiscard]] const HttpResponse& Answer() const { return m_answer; }

private:
    HttpResponse m_answer;
};

/// The numbers in "bytes first-last/total".
struct ContentRange
{
    qint64 first = -1;
    std::optional<qint64> total;
};

ContentRange ContentRangeIn(const QByteArray& header)
{
    const int dash = header.indexOf('-');
    const int slash = header.indexOf('/');
    if (!header.toLower().startsWith("bytes ") || dash < 0 || slash < dash) {
        return {};
    }
    bool isFirst = false;
    bool isTotal = false;
    const qint64 first = header.mid(6, dash - 6).trimmed().toLongLong(&isFirst);
    const qint64 total = header.mid(slash + 1).trimmed().toLongLong(&isTotal);
    return {isFirst ? first : -1, isTotal && total >= 0 ? std::make_optional(total) : std::nullopt};
}

DocumentVersion VersionIn(const HttpResponse& head)
{
    DocumentVersion version;
    version.isEntityTagWeak = head.entityTag.startsWith("W/");
    version.entityTag = version.isEntityTagWeak ? head.entityTag.mid(2) : head.entityTag;
    return version;
}

} // namespace

DocumentReceiver::DocumentReceiver(WebDavServer& server, const KnownTraits& traits, const QByteArray& path,
                                   Support::PartFile& part, const Bounds& bounds)
    : m_server(server)
    , m_traits(traits)
    , m_path(path)
    , m_part(part)
    , m_bounds(bounds)
{}

DocumentReceiver::Received DocumentReceiver::Run(Job& job)
{
    qint64 doneBefore = 0;
    for (int repetitions = 0;; ++repetitions) {
        try {
            TryOnce(job);
            RequireAll();
            return {m_done, QByteArray::fromStdString(m_md5->Result()).toHex(), m_version,
                    m_total.has_value()};
        } catch (const RestartNeeded&) {
            StartOver();
            continue;
        } catch (const NetworkError& error) {
            // Stalled and never begun: somebody has waited long enough.
            const bool isHopeless = error.IsHopeless() || (error.GetFailure().code == FailureCode::TimedOut &&
                                                           m_done == doneBefore);
            if (isHopeless) {
                throw;
            }
            if (m_done - doneBefore >= kWorthNewPatience) {
                repetitions = 0;
            }
            if (!m_server.WaitToRepeat(repetitions, error, {}, job)) {
                throw;
            }
        } catch (const PassingTrouble& trouble) {
            if (!m_server.WaitToRepeat(repetitions, trouble, trouble.Answer(), job)) {
                throw CloudError(trouble);
            }
        }
        doneBefore = m_done;
    }
}

void DocumentReceiver::TryOnce(Job& job)
{
    m_isHeadAccepted = false;
    const auto take = [&](const HttpResponse& head, const char* data, std::size_t size) {
        AcceptHead(head);
        Take(data, size, job);
    };
    const auto headers = HeadersToGoOn();
    if (headers.empty() && m_done > 0) { // without a tag nothing vouches for what is there
        Discard();
    }
    const auto answer = m_server.Get(m_path, headers, take, job);
    if (answer.status == 416 && m_done > 0) {
        throw RestartNeeded();
    }
    if (answer.status != 200 && answer.status != 206) {
        const auto error = StatusError(m_server.ChangeOf("GET", m_path), answer);
        if (IsPassing(answer.status)) {
            throw PassingTrouble(error, answer);
        }
        throw error;
    }
    AcceptHead(answer); // of an empty body
}

std::vector<QByteArray> DocumentReceiver::HeadersToGoOn() const
{
    const QByteArray tag = m_version.StrongEntityTag();
    const auto known = m_traits.Find();
    if (m_done == 0 || tag.isEmpty() || (known && !known->servesRanges)) {
        return {};
    }
    return {"Range: bytes=" + QByteArray::number(m_done) + '-', "If-Range: " + tag};
}

void DocumentReceiver::AcceptHead(const HttpResponse& head)
{
    if (std::exchange(m_isHeadAccepted, true)) {
        return;
    }
    if (head.status == 206) {
        if (!IsContinuation(head)) {
            throw RestartNeeded();
        }
        return;
    }
    if (head.status != 200) {
        throw StatusError(m_server.ChangeOf("GET", m_path), head);
    }
    if (m_done > 0) { // the server has begun again
        StartOver();
    }
    m_version = VersionIn(head);
    m_total = head.contentLength;
    RequireWithinBounds(m_total.value_or(0));
}

// A server that ignores If-Range sends the rest of another version (its tag tells), and one that is confused
// another part.
bool DocumentReceiver::IsContinuation(const HttpResponse& head) const
{
    const auto range = ContentRangeIn(head.contentRange);
    return m_done > 0 && range.first == m_done && (!m_total || !range.total || range.total == m_total) &&
           VersionIn(head).entityTag == m_version.entityTag;
}

void DocumentReceiver::StartOver()
{
    if (++m_restarts > kMostRestarts) {
        throw CloudError(FailureCode::Protocol,
                         QString::fromUtf8(m_path) +
                             QStringLiteral(": the server never goes on where it stopped"));
    }
    Discard();
}

void DocumentReceiver::Discard()
{
    OnSide(FileSide::Local, [&] { m_part.Clear(); });
    m_md5.emplace();
    m_done = 0;
    m_total.reset();
    m_version = {};
}

void DocumentReceiver::Take(const char* data, std::size_t size, Job& job)
{
    m_done += static_cast<qint64>(size);
    RequireWithinBounds(m_done);
    m_md5->Add(data, size);
    OnSide(FileSide::Local, [&] { m_part.Write(data, size); });
    if (m_total) {
        job.ReportProgress(m_done, *m_total);
    }
}

void DocumentReceiver::RequireWithinBounds(qint64 size) const
{
    const auto path = QString::fromUtf8(m_path);
    if (size > m_bounds.listed.value_or(size)) {
        throw UnlistedBytes(
            FailureCode::Protocol,
            path +
                QStringLiteral(": has more than the %1 bytes that the server lists").arg(*m_bounds.listed));
    }
    if (size > m_bounds.most) {
        throw CloudError(FailureCode::InvalidDocument, path + QStringLiteral(": is too large to show"));
    }
    if (size > m_total.value_or(m_bounds.listed.value_or(kMostWithoutSize))) {
        throw CloudError(FailureCode::Protocol,
                         path + QStringLiteral(": has more bytes than the server said"));
    }
}

void DocumentReceiver::RequireAll() const
{
    if (m_total && m_done != *m_total) {
        throw NetworkError(
            FailureCode::Network,
            QStringLiteral("%1: %2 of %3 bytes have arrived")
                .arg(QString::fromUtf8(m_path), QString::number(m_done), QString::number(*m_total)),
            NetworkError::Outlook::Passing);
    }
}

} // namespace Orvane::Social
