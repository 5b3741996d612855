#pragma once

#include <OrvaneCloudProtocol/transports/webdav/KeyedMutex.h>
#include <OrvaneCloudProtocol/transports/webdav/ServerTraits.h>

#include <QByteArray>

#include <chrono>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>

namespace Orvane::Social {

class Job;

/// What is known of the server at one address, remembered between runs. What is known is asked for again when
/// it is a week old, or when the server has contradicted it. Thread-safe. Without a usable folder it is
/// remembered for this run only.
class KnownTraits
{
public:
    using Trait = bool ServerTraits::*;
    using Clock = std::chrono::system_clock;

    /// Asks the server. May throw CloudError.
    using Learn = std::function<ServerTraits(Job& job)>;

    /// @param cloud        tells one user's collection from others
    /// @param cacheFolder  where the traits are remembered
    KnownTraits(const QByteArray& cloud, const std::filesystem::path& cacheFolder);

    /// What is known now, however old; nothing when the server was never asked.
    [[nodiscard]] std::optional<ServerTraits> Find() const;

    /// Whether the server is known to have the trait.
    [[nodiscard]] bool Has(Trait trait) const;

    /// Calls @p learn when the traits are not known or due to be asked for again; of several callers at once
    /// one does so, and the others wait. When the server cannot be asked, what was known before still holds,
    /// and a caller one minute later tries again. Throws CloudError (Canceled) when the job is no longer
    /// wanted.
    void Require(const Learn& learn, Job& job);

    void Remember(const ServerTraits& traits, Clock::time_point now = Clock::now());

    /// The server has just behaved otherwise: the trait is not relied on until it has been asked for again.
    void Contradict(Trait trait);

private:
    struct Known
    {
        ServerTraits traits;
        Clock::time_point learntAt;
    };

    [[nodiscard]] bool IsDue() const;
    [[nodiscard]] const std::optional<Known>& Read() const;
    void Write(const Known& known);

    const std::filesystem::path m_file;
    KeyedMutex m_learning;
    mutable std::mutex m_mutex; ///< for what follows
    mutable bool m_isRead = false;
    mutable std::optional<Known> m_known;
    Clock::time_point m_nextTry;
};

} // namespace Orvane::Social
