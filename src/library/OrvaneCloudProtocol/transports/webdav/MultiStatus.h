#pragma once

#include <QByteArray>
#include <QDateTime>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace Orvane::Social {

/// What a server says of one resource, as far as we asked (RFC 4918 §14.24). Properties that it did not
/// report with status 200 are empty.
struct DavResource
{
    QByteArray href;
    int status = 200;         ///< other than 200 when the server reports it for the resource as a whole
    bool isTypeKnown = false; ///< whether the server tells resourcetype at all
    bool isCollection = false;
    std::optional<qint64> size; ///< getcontentlength, bytes; empty when missing, negative or no number
    QByteArray entityTag;       ///< getetag without "W/", with its quotes; empty when it is no entity-tag
    bool isEntityTagWeak = false;
    QDateTime createdAt;                  ///< UTC; invalid when unknown
    QDateTime modifiedAt;                 ///< UTC; invalid when unknown
    std::optional<qint64> quotaUsed;      ///< quota-used-bytes (RFC 4331 §4), as it is, even when negative
    std::optional<qint64> quotaAvailable; ///< quota-available-bytes (RFC 4331 §3), likewise
    QByteArray serverMd5; ///< from oc:checksums; lower-case hexadecimal, empty when there is none
    QByteArray md5Note;   ///< our own property, as an upload left it; see Md5Note.h
    QByteArray principal; ///< href in current-user-principal (RFC 5397)
};

/// Takes the resources of a multi-status one by one, as they come.
using ResourceSink = std::function<void(DavResource&& resource)>;

/// Reads a multi-status (RFC 4918 §13) as it arrives, in pieces of any size. Everything but a complete,
/// well-formed multi-status in the right namespace is a CloudError (Protocol): so are documents with a
/// DOCTYPE (entities), names or values of absurd length, absurd depth, and more than 1,000,000 resources.
/// What is wrong may be noticed only in Finish. Something behind a whole multi-status is a NetworkError
/// (Unavailable): servers append their trouble when they have begun with 207 already (Go's WebDAV package, in
/// rclone, when a member goes while it lists).
class MultiStatusReader
{
public:
    /// @param sink  takes each resource once it is complete, which says nothing of the rest of the answer;
    /// with
    ///              none, Finish returns them all
    explicit MultiStatusReader(ResourceSink sink = {});
    ~MultiStatusReader();

    void Add(const char* data, std::size_t size);

    /// To be called once all is there. Returns what no sink has taken.
    [[nodiscard]] std::vector<DavResource> Finish();

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace Orvane::Social
