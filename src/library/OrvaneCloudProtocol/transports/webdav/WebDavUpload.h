#pragma once

#include <OrvaneCloudProtocol/transports/Transport.h>
#include <OrvaneCloudProtocol/transports/webdav/DocumentVersion.h>
#include <OrvaneCloudProtocol/transports/webdav/KeyedMutex.h>
#include <OrvaneCloudProtocol/transports/webdav/KnownTraits.h>
#include <OrvaneCloudProtocol/transports/webdav/RemoteTemporaries.h>
#include <OrvaneCloudProtocol/transports/webdav/SeenVersions.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavCollection.h>

namespace Orvane::Social {

/// What the uploads of one client share.
struct UploadContext
{
    WebDavCollection& collection;
    RemoteTemporaries& temporaries;
    SeenVersions& seen;
    KnownTraits& traits;
    KeyedMutex finalNames{}; ///< one move to a name at a time
};

/// One upload: to a temporary name, checked there, then moved to its final one and looked at again. Servers
/// report success for files that a full disk has cut, and two clients may both be told that they have won a
/// name.
class WebDavUpload
{
public:
    struct Stored
    {
        std::string name;
        DavResource resource;
        QByteArray md5; ///< of what was sent; lower-case hexadecimal
    };

    /// @param replacedName  the document to replace; empty for a new one
    WebDavUpload(UploadContext& context, const Transport::Upload& upload, const std::string& replacedName);

    /// Throws LeftBehindError when the failed upload could not be undone.
    [[nodiscard]] Stored Run(Job& job);

private:
    /// What lies under the temporary name.
    struct Sent
    {
        qint64 size = 0;
        QByteArray md5; ///< empty until all of it has been read
        DavResource resource;
        QByteArray note; ///< the MD5 note that went with it, if any
    };

    using Temporary = RemoteTemporaries::Temporary;

    /// What has come of sending: nothing wrong, or trouble after which it may be sent again.
    struct PutOutcome
    {
        std::exception_ptr trouble;
        HttpResponse answer; ///< empty when there was none
        bool isTimeOut = false;
    };

    /// Whose document lies under the final name.
    enum class Owner
    {
        Us,
        SomebodyElse,
        Unclear
    };

    [[nodiscard]] bool IsReplacement() const { return !m_replacedName.empty(); }
    void RequireNameable(const std::string& name) const;
    void RequireReplaceable(Job& job);
    [[nodiscard]] std::optional<Stored> TryOnce(Job& job);

    [[nodiscard]] std::unique_ptr<Temporary> Send(Sent& sent, Job& job);
    void ProveSignInBeforeLargeBody(qint64 size, Job& job);
    [[nodiscard]] PutOutcome Put(Temporary& temporary, Sent& sent, Job& job);
    [[nodiscard]] bool HasArrivedAllTheSame(const std::string& temporary, const Sent& sent, Job& job);
    void Verify(const std::string& temporary, Sent& sent, Job& job);

    [[nodiscard]] std::string MoveIntoPlace(const std::string& temporary, Job& job);
    [[nodiscard]] bool TakesName(const std::string& temporary, const std::string& name, Job& job);
    void ReplaceWith(const std::string& temporary, Job& job);
    void ReplaceUnconditionally(const std::string& temporary, Job& job);
    void LetRivalsFinish(Job& job) const;
    void LeaveNote(const std::string& name, Sent& sent, Job& job);
    [[nodiscard]] std::optional<Stored> Confirm(const std::string& name, const Sent& sent, Job& job);
    [[nodiscard]] static Owner OwnerOf(const DavResource& found, const Sent& sent);
    [[nodiscard]] bool HoldsWhatWasSent(const std::string& name, const Sent& sent, Job& job);
    [[noreturn]] void Undo(const std::string& name, const Sent& sent, const CloudError& why, Job& job);
    [[nodiscard]] bool IsUndone(const std::string& name, const Sent& sent, Job& job);

    UploadContext& m_context;
    WebDavCollection& m_collection;
    const Transport::Upload m_upload;
    const std::string m_replacedName;
    std::optional<DocumentVersion> m_replacedVersion;
    int m_number = 1; ///< of the next name to try, for a new document
    int m_timesOvertaken = 0;
};

} // namespace Orvane::Social
