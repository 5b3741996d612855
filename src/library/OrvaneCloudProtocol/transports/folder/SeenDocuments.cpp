#include <OrvaneCloudProtocol/transports/folder/SeenDocuments.h>

namespace Orvane::Social {

namespace fs = std::filesystem;

long long SeenDocuments::Moment() const
{
    const std::lock_guard lock(m_mutex);
    return m_moment;
}

void SeenDocuments::Note(const fs::path& path, const Support::FileStamp& stamp, const QString& md5,
                         long long moment)
{
    const bool isSettled = Support::IsSettled(stamp, std::chrono::system_clock::now());
    const std::lock_guard lock(m_mutex);
    auto& noted = m_noted[path];
    if (noted.moment <= moment) {
        noted = {{stamp, md5, isSettled}, ++m_moment};
    }
}

void SeenDocuments::Forget(const fs::path& path)
{
    const std::lock_guard lock(m_mutex);
    m_noted.erase(path);
}

std::optional<SeenVersion> SeenDocuments::Find(const fs::path& path) const
{
    const std::lock_guard lock(m_mutex);
    const auto found = m_noted.find(path);
    return found == m_noted.end() ? std::nullopt : std::make_optional(found->second.version);
}

} // namespace Orvane::Social
