#include <OrvaneCloudProtocol/transports/webdav/MultiStatus.h>

#include <OrvaneCloudProtocol/transports/Job.h>
#include <OrvaneCloudProtocol/transports/http/NetworkError.h>
#include <OrvaneCloudProtocol/transports/webdav/MultiStatusGrammar.h>
#include <OrvaneCloudProtocol/transports/webdav/PropertyValues.h>

#include <QXmlStreamReader>

#include <algorithm>
#include <utility>

namespace Orvane::Social {

namespace {

using Place = MultiStatusPlace;

constexpr std::size_t kMostResources = 1'000'000;
constexpr std::size_t kDeepest = 64;
constexpr int kLongestText = 64 * 1024;

constexpr int kMostAttributes = 64;

/// The XML reader keeps a token until it is complete, and takes a time for an element that grows with the
/// square of its attributes.
constexpr std::size_t kLongestToken = 128 * 1024;

/// Of all values together, so that a server cannot fill the memory with resources that are large each. Empty
/// values need their place, too.
constexpr std::size_t kMostKept = 512 * 1024 * 1024;

/// Of what the server wrote, in a failure's detail.
constexpr int kLongestQuote = 100;

/// What the XML reader is given at once. It goes over an unfinished token again for every further piece, so
/// the pieces must not be as small as they come.
constexpr int kPieceSize = 16 * 1024;

} // namespace

class MultiStatusReader::Private
{
public:
    explicit Private(ResourceSink sink)
        : m_sink(std::move(sink))
    {}

    void Add(const char* data, std::size_t size);
    std::vector<DavResource> Finish();

private:
    void ReadPiece();
    void ReadTokens();
    void EnterElement();
    void AddText();
    void LeaveElement();
    QByteArray TakeText();
    void MergeFound();
    void KeepResource();
    [[noreturn]] void Fail(const QString& why);
    void ThrowIfFailed() const;

    const ResourceSink m_sink;
    QXmlStreamReader m_xml;
    QByteArray m_piece;
    std::size_t m_sinceToken = 0; ///< bytes added that have not yet made up a token
    bool m_isRootClosed = false;
    bool m_isComplete = false;
    QString m_failure;

    std::vector<Place> m_places{Place::Document};
    QString m_text;
    std::size_t m_kept = 0;

    DavResource m_resource;
    std::vector<QByteArray> m_hrefs;
    int m_propStatStatus = 0;
    std::vector<std::pair<Place, QByteArray>>
        m_found; ///< in the current propstat, whose status may come last
    std::size_t m_count = 0;
    std::vector<DavResource> m_resources;
};

void MultiStatusReader::Private::Add(const char* data, std::size_t size)
{
    ThrowIfFailed();
    while (size > 0) {
        const auto length = std::min(static_cast<std::size_t>(kPieceSize - m_piece.size()), size);
        m_piece.append(data, static_cast<int>(length));
        data += length;
        size -= length;
        if (m_piece.size() == kPieceSize) {
            ReadPiece();
        }
    }
}

std::vector<DavResource> MultiStatusReader::Private::Finish()
{
    ThrowIfFailed();
    ReadPiece();
    if (!m_isComplete) {
        Fail(QStringLiteral("it ends too early"));
    }
    return std::move(m_resources);
}

void MultiStatusReader::Private::ReadPiece()
{
    const QByteArray piece = std::exchange(m_piece, {});
    // The XML reader would wait for more if it were given a piece of white space after the end.
    if (m_isComplete && piece.trimmed().isEmpty()) {
        return;
    }
    m_sinceToken += static_cast<std::size_t>(piece.size());
    m_xml.addData(piece);
    ReadTokens();
}

void MultiStatusReader::Private::ReadTokens()
{
    auto token = m_xml.readNext();
    for (; token != QXmlStreamReader::Invalid && token != QXmlStreamReader::EndDocument;
         token = m_xml.readNext()) {
        m_sinceToken = 0;
        if (token == QXmlStreamReader::StartElement) {
            EnterElement();
        } else if (token == QXmlStreamReader::Characters) {
            AddText();
        } else if (token == QXmlStreamReader::EndElement) {
            LeaveElement();
        } else if (token == QXmlStreamReader::DTD) {
            Fail(QStringLiteral("it has a DOCTYPE"));
        }
    }
    m_isComplete = token == QXmlStreamReader::EndDocument;
    if (m_xml.hasError() && m_xml.error() != QXmlStreamReader::PrematureEndOfDocumentError) {
        if (m_isRootClosed) {
            throw NetworkError(FailureCode::Unavailable,
                               QStringLiteral("The server had trouble while it answered"),
                               NetworkError::Outlook::Passing);
        }
        Fail(m_xml.errorString().left(kLongestQuote));
    }
    if (m_sinceToken > kLongestToken) {
        Fail(QStringLiteral("a part of it is too long"));
    }
}

void MultiStatusReader::Private::EnterElement()
{
    const Place place = PlaceOf(m_places.back(), m_xml.namespaceUri(), m_xml.name());
    if (m_places.back() == Place::Document && place != Place::MultiStatus) {
        Fail(QStringLiteral("it is a \"%1\" in the namespace \"%2\"")
                 .arg(m_xml.name().left(kLongestQuote), m_xml.namespaceUri().left(kLongestQuote)));
    }
    if (m_xml.attributes().size() > kMostAttributes) {
        Fail(QStringLiteral("an element has too many attributes"));
    }
    if (m_places.size() > kDeepest) {
        Fail(QStringLiteral("its elements are nested too deep"));
    }
    if (place == Place::Response) {
        m_resource = {};
        m_hrefs.clear();
    } else if (place == Place::PropStat) {
        m_propStatStatus = 0;
        m_found.clear();
    }
    if (place != Place::Unknown) {
        m_text.truncate(0); // keeps its room
    }
    m_places.push_back(place);
}

void MultiStatusReader::Private::AddText()
{
    if (m_places.back() == Place::Unknown) {
        return;
    }
    m_text += m_xml.text();
    if (m_text.size() > kLongestText) {
        Fail(QStringLiteral("a value in it is too long"));
    }
}

void MultiStatusReader::Private::LeaveElement()
{
    const Place place = m_places.back();
    m_places.pop_back();
    m_isRootClosed = m_places.back() == Place::Document;
    if (place == Place::Href) {
        m_hrefs.push_back(TakeText());
    } else if (place == Place::ResponseStatus) {
        m_resource.status = StatusIn(TakeText());
    } else if (place == Place::PropStatStatus) {
        m_propStatStatus = StatusIn(TakeText());
    } else if (IsProperty(place)) {
        m_found.emplace_back(place, TakeText());
    } else if (place == Place::ResourceType) {
        m_found.emplace_back(place, QByteArray());
    } else if (place == Place::PropStat) {
        MergeFound();
    } else if (place == Place::Response) {
        KeepResource();
    }
}

QByteArray MultiStatusReader::Private::TakeText()
{
    QByteArray text = m_text.toUtf8().trimmed();
    m_text.truncate(0);
    m_kept += static_cast<std::size_t>(text.size()) + sizeof(m_found.front());
    if (m_kept > kMostKept) {
        Fail(QStringLiteral("it is too large"));
    }
    return text;
}

void MultiStatusReader::Private::MergeFound()
{
    if (m_propStatStatus == 200) {
        for (const auto& [property, value] : m_found) {
            SetProperty(m_resource, property, value);
        }
    }
}

/// A response about several resources (RFC 4918 §14.24) makes as many. Without any href it stays one, so
/// that it counts as something that cannot be understood.
void MultiStatusReader::Private::KeepResource()
{
    m_hrefs.resize(std::max<std::size_t>(m_hrefs.size(), 1));
    m_count += m_hrefs.size();
    if (m_count > kMostResources) {
        Fail(QStringLiteral("it has too many resources"));
    }
    for (QByteArray& href : m_hrefs) {
        m_resource.href = std::move(href);
        m_sink ? m_sink(DavResource(m_resource)) : m_resources.push_back(m_resource);
    }
}

void MultiStatusReader::Private::Fail(const QString& why)
{
    m_failure = QStringLiteral("The multi-status cannot be read: %1").arg(why);
    ThrowIfFailed();
    Q_UNREACHABLE();
}

void MultiStatusReader::Private::ThrowIfFailed() const
{
    if (!m_failure.isEmpty()) {
        throw CloudError(FailureCode::Protocol, m_failure);
    }
}

MultiStatusReader::MultiStatusReader(ResourceSink sink)
    : d(std::make_unique<Private>(std::move(sink)))
{}

MultiStatusReader::~MultiStatusReader() = default;

void MultiStatusReader::Add(const char* data, std::size_t size)
{
    d->Add(data, size);
}

std::vector<DavResource> MultiStatusReader::Finish()
{
    return d->Finish();
}

} // namespace Orvane::Social
