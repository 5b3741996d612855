#pragma once

#include <ICloudProtocol.h>
#include <OrvaneExport.h>

#include <memory>
#include <string>

namespace Orvane::Social {
class OrvaneCloudProtocol;
}

namespace Orvane::PDF::Cloud {

/// The ICloudProtocol of production: owns one protocol client and passes every call on to it, unchanged. What
/// the client returns, throws and calls back reaches the caller as it is.
class ORVANE_MANAGER_EXPORT OrvaneCloudProtocolProxy : public ICloudProtocol
{
public:
    using Files = Social::Ability::File<Social::OrvaneCloudSharingResult>;

    /// Makes the client from the same two arguments.
    OrvaneCloudProtocolProxy(const Social::OAuth2::AuthInfo& authInfo, const std::string& address);
    ~OrvaneCloudProtocolProxy() override;

    /// The client itself, for what the interface has no word for (the reason of a failure). It lives as long
    /// as the proxy.
    [[nodiscard]] const Social::OrvaneCloudProtocol& Client() const noexcept { return *m_cloudProtocol; }

    void cancelOperation(long long ticket) override;

    long long auth(const QMap<QString, QString>& parameters, Auth::OnResult&& onResult) override;
    void logout() override;
    bool loggedIn() override;
    long long userName(OnText&& onResult) override;
    long long userProfile(OnUrl&& onResult) override;
    long long userPic(OnImage&& onResult) override;
    long long userPic(OnText&& onResult) override;

    long long retriveFileInfo(const FileFieldData& file, OnFileInfo&& onResult) override;
    long long retriveFileList(const FileFieldData& filter, OnFileList&& onResult) override;
    long long downloadFile(const FileFieldData& file, Files::OnResult&& onResult,
                           OnProgress&& onProgress) override;
    long long deleteFile(const FileFieldData& file, Files::OnResult&& onResult) override;
    long long uploadFile(const QString& localPath, const QMap<QString, QString>& parameters,
                         OnUploaded&& onResult, OnProgress&& onProgress) override;

    long long userQuota(OnQuota&& onResult) override;

    long long retrievePreview(const QMap<QString, QString>& parameters, OnPreview&& onResult) override;

private:
    std::unique_ptr<Social::OrvaneCloudProtocol> m_cloudProtocol;
};

} // namespace Orvane::PDF::Cloud
