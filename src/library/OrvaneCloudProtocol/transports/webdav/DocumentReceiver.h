#pragma once

#include <OrvaneCloudProtocol/transports/Job.h>
#include <OrvaneCloudProtocol/transports/webdav/DocumentVersion.h>
#include <OrvaneCloudProtocol/transports/webdav/KnownTraits.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavServer.h>
#include <support/BackgroundMd5.h>

namespace Orvane::Support {
class PartFile;
}

namespace Orvane::Social {

/// Receives the content of one document, and goes on where it was when the connection breaks (RFC 9110
/// §14.2).
class DocumentReceiver
{
public:
    struct Received
    {
        qint64 size = 0;
        QByteArray md5; ///< lower-case hexadecimal
        DocumentVersion version;
        bool isSizeProven = false; ///< whether the server has said how much there is
    };

    /// How many bytes may come. The first byte too many is not taken.
    struct Bounds
    {
        std::optional<qint64> listed; ///< what the server lists; more is an UnlistedBytes
        qint64 most;                  ///< more is a CloudError (InvalidDocument)
    };

    /// The server sends, or announces, more than it lists.
    class UnlistedBytes : public CloudError
    {
    public:
        using CloudError::CloudError;
    };

    /// @param part  gets the content, and stays unfinished
    DocumentReceiver(WebDavServer& server, const KnownTraits& traits, const QByteArray& path,
                     Support::PartFile& part, const Bounds& bounds);

    [[nodiscard]] Received Run(Job& job);

private:
    void TryOnce(Job& job);
    [[nodiscard]] std::vector<QByteArray> HeadersToGoOn() const;
    void AcceptHead(const HttpResponse& head);
    [[nodiscard]] bool IsContinuation(const HttpResponse& head) const;
    void StartOver();
    void Discard();
    void Take(const char* data, std::size_t size, Job& job);
    void RequireWithinBounds(qint64 size) const;
    void RequireAll() const;

    WebDavServer& m_server;
    const KnownTraits& m_traits;
    const QByteArray m_path;
    Support::PartFile& m_part;
    const Bounds m_bounds;
    std::optional<Support::BackgroundMd5> m_md5{std::in_place};
    qint64 m_done = 0;
    std::optional<qint64> m_total;
    DocumentVersion m_version;
    bool m_isHeadAccepted = false;
    int m_restarts = 0;
};

} // namespace Orvane::Social
