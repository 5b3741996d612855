#include "support/OwnTransports.h"

#include <OrvaneCloudProtocol/transports/TransportFactory.h>
#include <OrvaneCloudProtocol/transports/folder/FolderAddress.h>
#include <OrvaneCloudProtocol/transports/folder/FolderTransport.h>
#include <support/PathText.h>

#include <atomic>

namespace Orvane::Benchmarks {
namespace {

using Social::Job;
using Social::Transport;

constexpr int kTransfersAtOnce = 6; // as many as on the web

std::atomic<int> fetchesForRendering{0};

class Nothing : public Transport
{
public:
    [[nodiscard]] bool IsTokenNeeded() const override { return false; }
    [[nodiscard]] int TransfersAtOnce() const override { return kTransfersAtOnce; }
    [[nodiscard]] bool IsDocumentId(const QString&) const override { return true; }
    [[nodiscard]] QUrl DownloadUrl(const QString&) const override { return {}; }
    void SignIn(const QString&, Job&) override {}
    QString UserName(Job&) override { return {}; }
    QUrl UserProfile(Job&) override { return {}; }
    CloudFiles List(Job&) override { return {}; }
    CloudFile Info(const QString&, Job&) override { return {}; }
    CloudFile Store(const Upload&, Job&) override { return {}; }
    std::filesystem::path Fetch(const Download&, Job&) override { return {}; }
    void Remove(const Removal&, Job&) override {}
    QuotaValue Quota(Job&) override { return {}; }
    QString VersionTag(const QString&, Job&) override { return {}; }
    RenderSource FetchForRendering(const QString& id, Job&) override
    {
        ++fetchesForRendering;
        return {Support::ToPath(id), nullptr};
    }
};

} // namespace

int FetchesForRendering()
{
    return fetchesForRendering;
}

} // namespace Orvane::Benchmarks

std::shared_ptr<Orvane::Social::Transport>
Orvane::Social::MakeTransport(const OAuth2::AuthInfo& authInfo, const std::string& address,
                              const std::filesystem::path& cacheFolder)
{
    if (const auto folder = FolderOfAddress(address))
        return std::make_shared<FolderTransport>(authInfo, *folder, cacheFolder);
    return std::make_shared<Benchmarks::Nothing>();
}
