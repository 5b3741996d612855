#pragma once

#include <OrvaneCloudProtocol/transports/Transport.h>

#include <filesystem>
#include <memory>

namespace Orvane::Support {
class PartFile;
class TemporaryJournal;
} // namespace Orvane::Support

namespace Orvane::Social {

/// The local file that a download is to become, and the rule for a file that is already there. Failures are
/// CloudErrors.
class LocalTarget
{
public:
    /// Throws where the last step would fail as things stand, so that nothing is fetched in vain.
    explicit LocalTarget(const Transport::Download& download);

    /// A new temporary beside the target.
    [[nodiscard]] std::unique_ptr<Support::PartFile> BeginPart(Support::TemporaryJournal& journal) const;

    /// The last step: gives the finished @p part its name, by the rule. Returns the path of the file made.
    std::filesystem::path Publish(Support::PartFile& part, Job& job) const;

private:
    void RequirePossible() const;
    void Replace(Support::PartFile& part, Job& job) const;
    [[nodiscard]] std::filesystem::path TakeFreeName(Support::PartFile& part, Job& job) const;

    const Transport::ExistingFile m_existing;
    const std::filesystem::path m_path; ///< what a link to a file to be replaced points to
};

} // namespace Orvane::Social
