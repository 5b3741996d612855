#pragma once

#include "ProtocolClouds.h"
#include "ScriptedServer.h"

#include <OrvaneCloudProtocol/transports/webdav/KnownTraits.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavTransport.h>

#include <gtest/gtest.h>

namespace Orvane::Tests {

/// A scripted server, a client signed in to it, and a document "old.pdf" that it has listed.
class ScriptedCloud
{
public:
    using Fault = ScriptedServer::Fault;
    using FailureCode = Social::FailureCode;
    using KnownTraits = Social::KnownTraits;
    using ServerTraits = Social::ServerTraits;

    ScriptedCloud()
    {
        server.documents["old.pdf"] = "old";
        Testing::Write(local.Path() / "new.pdf", "new bytes");
        Open();
    }

    void Connect()
    {
        cloud.reset(); // it may have something left to write
        const auto address = Social::WebDavAddress::Parse(server.origin + "/dav/");
        cloud =
            std::make_unique<Social::WebDavTransport>(Social::OAuth2::AuthInfo(), *address, cache, limits);
    }

    void Open()
    {
        Connect();
        cloud->SignIn(QStringLiteral("secret"), job);
        (void)cloud->List(job);
    }

    /// With what is to be known of the server, so that nothing is learnt by an upload.
    void OpenKnowing(const ServerTraits& traits)
    {
        Traits().Remember(traits);
        Open();
    }

    KnownTraits Traits() const { return {'\0' + QByteArray::fromStdString(server.origin + "/dav/"), cache}; }

    /// The id of the stored document, or the code of the failure in decimal.
    std::string Store(const QString& replacedId = {}, const std::string& source = "new.pdf")
    {
        return Outcome([&] {
            return cloud->Store({local.Path() / source, replacedId, {}}, job).id.toStdString();
        });
    }
    std::string Remove(const QString& id = QStringLiteral("old.pdf"))
    {
        return Outcome([&] { return cloud->Remove(id, job), std::string("removed"); });
    }
    /// The content that has arrived, or the code of the failure in decimal.
    std::string Fetch(const QString& id = QStringLiteral("old.pdf"), qint64 expectedSize = 0)
    {
        const auto target = local.Path() / "target.pdf";
        return Outcome([&] { return Testing::Read(cloud->Fetch({id, target, expectedSize}, job)); });
    }
    static std::string Outcome(const std::function<std::string()>& step)
    {
        try {
            return step();
        } catch (const Social::CloudError& error) {
            return Code(error.GetFailure().code);
        }
    }
    static std::string Code(FailureCode code) { return std::to_string(static_cast<int>(code)); }

    /// How many requests with this method the server has heard.
    int Heard(const QByteArray& method) const { return server.heard.count(method + " /dav/"); }

    void SetFault(Fault fault, const char* method, int times = 1, int first = 1)
    {
        std::tie(fault.method, fault.times, fault.first) = std::tuple(method, times, first);
        server.faults.push_back(fault);
    }
    static Fault Says(const QByteArray& status, const QByteArray& body = {})
    {
        return {{}, "HTTP/1.1 " + status + "\r\nContent-Length: @\r\n\r\n" + body, false};
    }

    const QString kOld = QStringLiteral("old.pdf");
    const Social::NetworkLimits::Milliseconds limit{600};
    Social::NetworkLimits limits{limit, limit, limit, limit, limit / 600, 2, 2};
    ScriptedServer server;
    const Testing::TemporaryFolder local;
    const std::filesystem::path cache = local.Path() / "cache";
    Social::Job job;
    std::unique_ptr<Social::WebDavTransport> cloud;
};

class ScriptedCloudTest : public testing::Test, protected ScriptedCloud
{};

} // namespace Orvane::Tests
