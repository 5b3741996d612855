#include <OrvaneCloudProtocol/transports/TransportFactory.h>

#include <OrvaneCloudProtocol/transports/folder/FolderAddress.h>
#include <OrvaneCloudProtocol/transports/folder/FolderTransport.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavTransport.h>

namespace Orvane::Social {

std::shared_ptr<Transport> MakeTransport(const OAuth2::AuthInfo& authInfo, const std::string& address,
                                         const std::filesystem::path& cacheFolder)
{
    if (const auto folder = FolderOfAddress(address)) {
        return std::make_shared<FolderTransport>(authInfo, *folder, cacheFolder);
    }
    if (const auto collection = WebDavAddress::Parse(address)) {
        return std::make_shared<WebDavTransport>(authInfo, *collection, cacheFolder);
    }
    return nullptr;
}

} // namespace Orvane::Social
