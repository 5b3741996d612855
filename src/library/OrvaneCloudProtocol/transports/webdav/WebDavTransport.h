#pragma once

#include <OAuth2.h>
#include <OrvaneCloudProtocol/transports/Transport.h>
#include <OrvaneCloudProtocol/transports/http/NetworkLimits.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavAddress.h>

namespace Orvane::Social {

/// A collection on a WebDAV server as the cloud.
class WebDavTransport final : public Transport
{
public:
    WebDavTransport(const OAuth2::AuthInfo& authInfo, const WebDavAddress& address,
                    const std::filesystem::path& cacheFolder, const NetworkLimits& limits = {});
    ~WebDavTransport() override;

    [[nodiscard]] bool IsTokenNeeded() const override { return true; }
    [[nodiscard]] int TransfersAtOnce() const override { return 6; }
    [[nodiscard]] bool IsDocumentId(const QString& id) const override;
    [[nodiscard]] std::optional<CloudGuarantees> Guarantees() const override;
    [[nodiscard]] QUrl DownloadUrl(const QString& id) const override;

    void SignIn(const QString& token, Job& job) override;
    QString UserName(Job& job) override;
    QUrl UserProfile(Job& job) override;
    CloudFiles List(Job& job) override;
    CloudFile Info(const QString& id, Job& job) override;
    CloudFile Store(const Upload& upload, Job& job) override;
    std::filesystem::path Fetch(const Download& download, Job& job) override;
    void Remove(const Removal& removal, Job& job) override;
    QuotaValue Quota(Job& job) override;
    QString VersionTag(const QString& id, Job& job) override;
    RenderSource FetchForRendering(const QString& id, Job& job) override;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace Orvane::Social
