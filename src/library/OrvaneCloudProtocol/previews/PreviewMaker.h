#pragma once

#include <OrvaneCloudProtocol/Failure.h>

#include <QByteArray>
#include <QImage>
#include <QSize>

#include <filesystem>
#include <functional>
#include <memory>
#include <variant>
#include <vector>

namespace Orvane::Social
{

class Job;
class PreviewCache;

/// Makes pictures of first pages: from the cache where it can, else by rendering the page once and scaling it
/// to every size wanted. Thread-safe; the calls block.
class PreviewMaker
{
public:
    using Preview = std::variant<QImage, Failure>;

    /// Fetches the document's file when, and only when, it has to be rendered. May throw CloudError.
    using FetchFile = std::function<std::filesystem::path()>;

    /// @param cacheFolder  holds the cache; made when it is first needed. Without a usable folder previews are
    ///                     made all the same, and forgotten.
    explicit PreviewMaker(const std::filesystem::path& cacheFolder);
    ~PreviewMaker();

    /// One answer for each box, in their order.
    ///
    /// @param documentVersion  names one version of one document of one cloud
    /// @param boxes            sizes in pixels, each at least 1 x 1
    std::vector<Preview> Make(const QByteArray& documentVersion, const std::vector<QSize>& boxes,
                              const FetchFile& fetchFile, Job& job);

private:
    const std::unique_ptr<PreviewCache> m_cache;
};

} // namespace Orvane::Social
