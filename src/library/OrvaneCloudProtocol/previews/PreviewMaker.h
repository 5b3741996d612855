#pragma once

#include <OrvaneCloudProtocol/previews/PageRenderer.h>
#include <OrvaneCloudProtocol/previews/Preview.h>
#include <OrvaneCloudProtocol/previews/RenderingSlots.h>

#include <QByteArray>
#include <QSize>

#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

namespace Orvane::Social {

class Job;
class PreviewCache;

/// Makes pictures of first pages: from the cache where it can, else by rendering the page once and scaling it
/// to every size wanted. Thread-safe; the calls block.
class PreviewMaker
{
public:
    using Preview = Social::Preview;

    /// Fetches the document's file when, and only when, it has to be rendered. May throw CloudError.
    using FetchFile = std::function<std::filesystem::path()>;

    /// @param cacheFolder  holds the cache; made when it is first needed. Without a usable folder previews
    /// are
    ///                     made all the same, and forgotten.
    explicit PreviewMaker(const std::filesystem::path& cacheFolder, const RenderLimits& limits = {});
    ~PreviewMaker();

    /// One answer for each box, in their order: a picture that fits the box and keeps the page's shape (no
    /// larger than 2048 pixels, whatever the box), or why the document cannot be shown.
    ///
    /// Throws CloudError when the job is cancelled, and passes on what @p fetchFile throws.
    ///
    /// @param documentVersion  names one version of one document of one cloud
    /// @param boxes            sizes in pixels, each at least 1 x 1
    std::vector<Preview> Make(const QByteArray& documentVersion, const std::vector<QSize>& boxes,
                              const FetchFile& fetchFile, Job& job);

private:
    [[nodiscard]] Preview FindOrRender(const QByteArray& documentVersion, int edge,
                                       const FetchFile& fetchFile, const Job& job);
    [[nodiscard]] Preview Render(const std::filesystem::path& file, int edge, const Job& job) const;

    const std::unique_ptr<PreviewCache> m_cache;
    const PageRenderer m_renderer;
    RenderingSlots m_slots;
};

} // namespace Orvane::Social
