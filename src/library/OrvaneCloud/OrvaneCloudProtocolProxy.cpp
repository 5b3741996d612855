#include <OrvaneCloud/OrvaneCloudProtocolProxy.h>

#include <OrvaneCloudProtocol/OrvaneCloudProtocol.h>

#include <utility>

namespace Orvane::PDF::Cloud {

OrvaneCloudProtocolProxy::OrvaneCloudProtocolProxy(const Social::OAuth2::AuthInfo& authInfo,
                                                   const std::string& address)
    : m_cloudProtocol(std::make_unique<Social::OrvaneCloudProtocol>(authInfo, address, nullptr))
{}

OrvaneCloudProtocolProxy::~OrvaneCloudProtocolProxy() = default;

void OrvaneCloudProtocolProxy::cancelOperation(long long ticket)
{
    m_cloudProtocol->cancelOperation(ticket);
}

long long OrvaneCloudProtocolProxy::auth(const QMap<QString, QString>& parameters, Auth::OnResult&& onResult)
{
    return m_cloudProtocol->auth(parameters, std::move(onResult));
}

void OrvaneCloudProtocolProxy::logout()
{
    m_cloudProtocol->logout();
}

bool OrvaneCloudProtocolProxy::loggedIn()
{
    return m_cloudProtocol->loggedIn();
}

long long OrvaneCloudProtocolProxy::userName(OnText&& onResult)
{
    return m_cloudProtocol->userName(std::move(onResult));
}

long long OrvaneCloudProtocolProxy::userProfile(OnUrl&& onResult)
{
    return m_cloudProtocol->userProfile(std::move(onResult));
}

long long OrvaneCloudProtocolProxy::userPic(OnImage&& onResult)
{
    return m_cloudProtocol->userPic(std::move(onResult));
}

long long OrvaneCloudProtocolProxy::userPic(OnText&& onResult)
{
    return m_cloudProtocol->userPic(std::move(onResult));
}

long long OrvaneCloudProtocolProxy::retriveFileInfo(const FileFieldData& file, OnFileInfo&& onResult)
{
    return m_cloudProtocol->retriveFileInfo(file, std::move(onResult));
}

long long OrvaneCloudProtocolProxy::retriveFileList(const FileFieldData& filter, OnFileList&& onResult)
{
    return m_cloudProtocol->retriveFileList(filter, std::move(onResult));
}

long long OrvaneCloudProtocolProxy::downloadFile(const FileFieldData& file, Files::OnResult&& onResult,
                                                 OnProgress&& onProgress)
{
    return m_cloudProtocol->downloadFile(file, std::move(onResult), std::move(onProgress));
}

long long OrvaneCloudProtocolProxy::deleteFile(const FileFieldData& file, Files::OnResult&& onResult)
{
    return m_cloudProtocol->deleteFile(file, std::move(onResult));
}

long long OrvaneCloudProtocolProxy::uploadFile(const QString& localPath,
                                               const QMap<QString, QString>& parameters,
                                               OnUploaded&& onResult, OnProgress&& onProgress)
{
    return m_cloudProtocol->uploadFile(localPath, parameters, std::move(onResult), std::move(onProgress));
}

long long OrvaneCloudProtocolProxy::userQuota(OnQuota&& onResult)
{
    return m_cloudProtocol->userQuota(std::move(onResult));
}

long long OrvaneCloudProtocolProxy::retrievePreview(const QMap<QString, QString>& parameters,
                                                    OnPreview&& onResult)
{
    return m_cloudProtocol->retrievePreview(parameters, std::move(onResult));
}

} // namespace Orvane::PDF::Cloud
