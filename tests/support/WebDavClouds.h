#pragma once

#include "ProtocolClouds.h"

#include <QCoreApplication>
#include <QProcess>

#include <map>
#include <sstream>

namespace Orvane::Tests {

/// A real server; see servers/webdav-server.
class RealServer
{
public:
    explicit RealServer(const std::string& kind)
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(ORVANE_WEBDAV_SERVER), {QString::fromStdString(kind)});
        std::istringstream(Tell({}).toStdString()) >> port >> folder;
    }

    ~RealServer()
    {
        m_process.closeWriteChannel();
        m_process.waitForFinished();
    }

    /// One of each kind, started when first wanted, ended with the program.
    static RealServer& Shared(const std::string& kind)
    {
        static std::map<std::string, RealServer> servers;
        qAddPostRoutine([] { servers.clear(); });
        return servers.try_emplace(kind, kind).first->second;
    }

    /// "kill" or "start"; returns when that is done.
    QByteArray Tell(const QByteArray& command)
    {
        m_process.write(command + '\n');
        return m_process.waitForReadyRead() ? m_process.readLine() : QByteArray();
    }

    std::string port;
    std::filesystem::path folder;

private:
    QProcess m_process;
};

/// A folder that a shared server offers as a collection: "apache", "apache-tls" or "rclone".
class WebDavCloud final : public FolderCloud
{
public:
    explicit WebDavCloud(const std::string& kind)
        : server(RealServer::Shared(kind))
    {
        if (kind == "rclone")
            m_account.userName = QStringLiteral("user");
        if (kind == "apache-tls")
            m_account.caFile = Support::ToText(server.folder / "ca.pem");
        std::filesystem::permissions(Folder(), std::filesystem::perms::all);
        std::filesystem::create_directory_symlink(Folder().parent_path(), server.folder / "data" / m_name);
    }

    [[nodiscard]] std::string AddressAt(const std::string& place) const
    {
        const std::string scheme = m_account.caFile.isEmpty() ? "http" : "https";
        return scheme + "://localhost:" + server.port + '/' + place + '/' + m_name + "/cloud";
    }
    [[nodiscard]] std::string Address() const override { return AddressAt("dav"); }

    [[nodiscard]] QString Token() const override
    {
        return QString::fromStdString(Testing::Read(server.folder / "token"));
    }

    [[nodiscard]] Social::OAuth2::AuthInfo Account() const override { return m_account; }

    /// Apache looks whether a name is free first, and renames then.
    [[nodiscard]] bool GivesANameToOneOnly() const override { return !m_account.userName.isEmpty(); }
    [[nodiscard]] bool TakesAnyBytesInNames() const override { return m_account.userName.isEmpty(); }
    [[nodiscard]] bool KnowsHashesOfForeignFiles() const override { return false; }

    /// Without what Apache keeps there for itself.
    [[nodiscard]] std::set<std::string> Names() const override
    {
        auto names = FolderCloud::Names();
        names.erase(".DAV");
        names.erase(names.lower_bound(".davfs.tmp"), names.lower_bound(".davfs.tmq"));
        return names;
    }

    RealServer& server;

private:
    const std::string m_name = Folder().parent_path().filename();
    Social::OAuth2::AuthInfo m_account;
};

} // namespace Orvane::Tests
