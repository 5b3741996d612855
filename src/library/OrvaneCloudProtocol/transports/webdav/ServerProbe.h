#pragma once

#include <OrvaneCloudProtocol/transports/webdav/RemoteTemporaries.h>
#include <OrvaneCloudProtocol/transports/webdav/ServerTraits.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavCollection.h>

#include <string_view>

namespace Orvane::Social {

/// Learns what a server keeps to by trying it, on temporaries of a few bytes, and by looking at what has
/// become of them each time: what a server says of itself is not believed. About twenty-five requests.
class ServerProbe
{
public:
    ServerProbe(WebDavCollection& collection, RemoteTemporaries& temporaries, Job& job);

    /// Throws CloudError when the server cannot be tried, for example because it stores nothing.
    [[nodiscard]] ServerTraits Run();

private:
    using Temporary = RemoteTemporaries::Temporary;

    /// One of the temporaries, and what should be in it.
    struct Sample
    {
        std::string_view content;
        std::unique_ptr<Temporary> temporary;
    };

    [[nodiscard]] Sample Send(std::string_view content);
    [[nodiscard]] Sample Unsent(std::string_view content);
    void SendBoth();
    [[nodiscard]] DavResource Look(const Sample& sample);

    /// Nothing when the MOVE has failed otherwise than by 412.
    std::optional<WebDavCollection::MoveOutcome> TryMove(const std::string& from,
                                                         const WebDavCollection::Destination& to);

    /// Whether the first sample does not get the name of the second, and both are as they were.
    [[nodiscard]] bool IsRefused(WebDavCollection::Overwrite overwrite, const QByteArray& requiredTag);
    [[nodiscard]] bool HasOwnSize(const Sample& sample);

    /// The answer to a question without which an upload can do: false when it cannot be asked.
    [[nodiscard]] bool Holds(const std::function<bool()>& question);
    [[nodiscard]] bool KeepsOverwriteRule();
    [[nodiscard]] bool HonoursIf();
    [[nodiscard]] bool ReadsEscapes();
    void TryFreeName(ServerTraits& traits);
    [[nodiscard]] bool KeepsProperties();
    [[nodiscard]] bool ServesRanges();
    [[nodiscard]] bool TellsQuota();

    WebDavCollection& m_collection;
    RemoteTemporaries& m_temporaries;
    Job& m_job;
    Sample m_first;
    Sample m_second;
};

} // namespace Orvane::Social
