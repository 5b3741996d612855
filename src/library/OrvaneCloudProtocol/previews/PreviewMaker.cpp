#include <OrvaneCloudProtocol/previews/PreviewMaker.h>

#include <OrvaneCloudProtocol/previews/PreviewCache.h>
#include <OrvaneCloudProtocol/transports/Job.h>

#include <algorithm>

namespace Orvane::Social {
namespace {

constexpr int kUsualEdge = 191; // the largest size that a document list shows: smaller ones come from it
constexpr int kLargestEdge = 2048;

int EdgeFor(const std::vector<QSize>& boxes)
{
    int edge = kUsualEdge;
    for (const QSize& box : boxes)
        edge = std::max({edge, box.width(), box.height()});
    return std::min(edge, kLargestEdge);
}

QImage ScaledInto(const QSize& box, const QImage& page)
{
    const QSize largest = box.boundedTo(QSize(kLargestEdge, kLargestEdge));
    const QSizeF exactSize = QSizeF(page.size()).scaled(largest, Qt::KeepAspectRatio);
    const QSize size = exactSize.toSize().expandedTo(QSize(1, 1));
    return size == page.size() ? page : page.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

Preview Fitted(const QSize& box, const Preview& page)
{
    const auto* picture = std::get_if<QImage>(&page);
    return picture ? Preview(ScaledInto(box, *picture)) : page;
}

} // namespace

PreviewMaker::PreviewMaker(const std::filesystem::path& cacheFolder, const RenderLimits& limits)
    : m_cache(std::make_unique<PreviewCache>(cacheFolder))
    , m_renderer(limits)
{}

PreviewMaker::~PreviewMaker() = default;

std::vector<Preview> PreviewMaker::Make(const QByteArray& documentVersion, const std::vector<QSize>& boxes,
                                        const FetchFile& fetchFile, Job& job)
{
    const Preview page = FindOrRender(documentVersion, EdgeFor(boxes), fetchFile, job);
    std::vector<Preview> previews;
    for (const QSize& box : boxes)
        previews.push_back(Fitted(box, page));
    return previews;
}

Preview PreviewMaker::FindOrRender(const QByteArray& documentVersion, int edge, const FetchFile& fetchFile,
                                   const Job& job)
{
    job.ThrowIfCanceled();
    if (const auto known = m_cache->Find(documentVersion, edge))
        return *known;
    const RenderingSlots::Slot slot = m_slots.Wait(documentVersion, job);
    if (const auto knownByNow = m_cache->Find(documentVersion, edge))
        return *knownByNow;
    const Preview page = Render(fetchFile(), edge, job);
    m_cache->Store(documentVersion, edge, page);
    return page;
}

Preview PreviewMaker::Render(const std::filesystem::path& file, int edge, const Job& job) const
{
    try {
        return m_renderer.Render(file, edge, job);
    } catch (const CloudError& error) {
        if (error.GetFailure().code == FailureCode::Canceled)
            throw;
        return error.GetFailure();
    }
}

} // namespace Orvane::Social
