#pragma once

#include <OrvaneCloudProtocol/PreviewConfinement.h>

#include <QImage>

#include <chrono>
#include <filesystem>
#include <optional>

namespace Orvane::Social {

class Job;

/// What one rendering may cost, and what it may reach. A full-page scan of 12,000 x 12,000 pixels needs about
/// a quarter of it.
struct RenderLimits
{
    std::chrono::milliseconds wallTime = std::chrono::seconds(15);
    std::chrono::seconds cpuTime{10};
    quint64 memoryBytes = quint64(1) << 30; ///< of address space

    /// None: the strongest that works here, see UsedPreviewConfinement.
    std::optional<PreviewConfinement> confinement = {};
};

/// Renders first pages in a helper process (pdftoppm), because a hostile document can crash or hang whatever
/// renders it. Thread-safe; the calls block.
class PageRenderer
{
public:
    explicit PageRenderer(const RenderLimits& limits = {});

    /// Page 1 of a PDF file of any name and size, its longer side @p edge pixels.
    ///
    /// Throws CloudError: InvalidDocument when the file is damaged, locked by a password, no PDF at all, or
    /// exceeds the limits; Unsupported when the helper is not installed; LocalDisk when @p document is no
    /// regular file that can be read; Canceled.
    [[nodiscard]] QImage Render(const std::filesystem::path& document, int edge, const Job& job) const;

private:
    const RenderLimits m_limits;
};

} // namespace Orvane::Social
