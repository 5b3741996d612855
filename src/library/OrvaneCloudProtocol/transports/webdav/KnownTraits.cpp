#include <OrvaneCloudProtocol/transports/webdav/KnownTraits.h>

#include <OrvaneCloudProtocol/transports/Job.h>
#include <OrvaneCloudProtocol/transports/webdav/CloudKey.h>
#include <support/PathText.h>
#include <support/PrivateFiles.h>

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <utility>

namespace Orvane::Social {

namespace {

using std::chrono::hours;
using std::chrono::seconds;

constexpr hours kWorthAWeek{7 * 24};
constexpr hours kShortestInterval{1}; // between two times of asking a server that contradicts itself
constexpr std::chrono::minutes kPauseAfterFailure{1};
constexpr double kLatestMoment = 9e9; // seconds; a system clock counts nanoseconds in 63 bits

const QString kLearntAt = QStringLiteral("learntAt");

const std::pair<const char*, KnownTraits::Trait> kNames[] = {
    {"keepsOverwriteRule", &ServerTraits::keepsOverwriteRule},
    {"readsEscapes", &ServerTraits::readsEscapes},
    {"honoursIfOnMove", &ServerTraits::honoursIfOnMove},
    {"reportsCreation", &ServerTraits::reportsCreation},
    {"keepsTagOnMove", &ServerTraits::keepsTagOnMove},
    {"keepsProperties", &ServerTraits::keepsProperties},
    {"servesRanges", &ServerTraits::servesRanges},
    {"tellsQuota", &ServerTraits::tellsQuota},
};

/// A single wrong character in the file makes all of it unknown.
std::optional<ServerTraits> TraitsIn(const QJsonObject& object)
{
    ServerTraits traits;
    for (const auto& [name, trait] : kNames) {
        const auto value = object.value(QLatin1String(name));
        if (!value.isBool()) {
            return std::nullopt;
        }
        traits.*trait = value.toBool();
    }
    return traits;
}

} // namespace

KnownTraits::KnownTraits(const QByteArray& cloud, const std::filesystem::path& cacheFolder)
    : m_file(cacheFolder / "servers" / (CloudKey(cloud) + ".json"))
{}

std::optional<ServerTraits> KnownTraits::Find() const
{
    const std::lock_guard lock(m_mutex);
    const auto& known = Read();
    return known ? std::make_optional(known->traits) : std::nullopt;
}

bool KnownTraits::Has(Trait trait) const
{
    return Find().value_or(ServerTraits()).*trait;
}

bool KnownTraits::IsDue() const
{
    const std::lock_guard lock(m_mutex);
    const auto& known = Read();
    const auto now = Clock::now();
    const bool isKnown = known && known->learntAt <= now && now - known->learntAt <= kWorthAWeek;
    return !isKnown && now >= m_nextTry;
}

void KnownTraits::Require(const Learn& learn, Job& job)
{
    if (!IsDue()) {
        return;
    }
    const KeyedMutex::Lock lock(m_learning, {}, job);
    if (!IsDue()) {
        return;
    }
    try {
        Remember(learn(job));
    } catch (const CloudError&) { // what follows meets the same trouble, and can name it better
        job.ThrowIfCanceled();
        const std::lock_guard guard(m_mutex);
        m_nextTry = Clock::now() + kPauseAfterFailure;
    }
}

void KnownTraits::Remember(const ServerTraits& traits, Clock::time_point now)
{
    const std::lock_guard lock(m_mutex);
    Write({traits, now});
}

void KnownTraits::Contradict(Trait trait)
{
    const std::lock_guard lock(m_mutex);
    const auto& known = Read();
    if (!known || !(known->traits.*trait)) {
        return;
    }
    Known less = *known;
    less.traits.*trait = false;
    const auto setBack = kWorthAWeek - kShortestInterval; // so that it is due one hour after it was learnt
    if (Clock::now() - less.learntAt < setBack) {
        less.learntAt -= setBack;
    }
    Write(less);
}

const std::optional<KnownTraits::Known>& KnownTraits::Read() const
{
    QFile file(Support::ToText(m_file));
    if (!std::exchange(m_isRead, true) && file.open(QIODevice::ReadOnly)) {
        const auto object = QJsonDocument::fromJson(file.readAll()).object();
        const auto learntAt = object.value(kLearntAt).toDouble(-1);
        const auto traits = TraitsIn(object);
        if (traits && learntAt >= 0 && learntAt < kLatestMoment) {
            m_known = Known{*traits, Clock::time_point(seconds(static_cast<qint64>(learntAt)))};
        }
    }
    return m_known;
}

void KnownTraits::Write(const Known& known)
{
    m_isRead = true;
    m_known = known;
    QJsonObject object;
    for (const auto& [name, trait] : kNames) {
        object.insert(QLatin1String(name), known.traits.*trait);
    }
    const auto learntAt = std::chrono::duration_cast<seconds>(known.learntAt.time_since_epoch());
    object.insert(kLearntAt, static_cast<qint64>(learntAt.count()));
    (void)Support::TryToMakePrivateFolder(m_file.parent_path());
    QSaveFile file(Support::ToText(m_file));
    if (file.open(QIODevice::WriteOnly)) {
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
        file.write(QJsonDocument(object).toJson());
        file.commit();
    }
}

} // namespace Orvane::Social
