#include <OrvaneCloudProtocol/previews/ConfinementChoice.h>

#include <OrvaneCloudProtocol/previews/LimitedProcess.h>
#include <OrvaneCloudProtocol/transports/Job.h>

#include <mutex>
#include <optional>
#include <thread>

namespace Orvane::Social {
namespace {

constexpr std::chrono::milliseconds kSlice{20}; // how late a cancel may be noticed
constexpr std::chrono::seconds kPatience{5};

// What it may open is the shell itself, given as its input; what it may not open is a file that any user can
// read. Both commands are parts of the shell, which therefore starts no process.
const char* const kShell = "/bin/sh";
const char* const kForbidden = "/etc/passwd";
const char* const kReadsItsInputAlone = "true < \"$0\" && ! true < \"$1\"";
const char* const kReadsItsInput = "true < \"$0\"";

bool KeepsFilesAway(PreviewConfinement confinement)
{
    return confinement == PreviewConfinement::Landlock || confinement == PreviewConfinement::Bubblewrap;
}

bool Works(PreviewConfinement confinement, const Job& job, std::chrono::milliseconds patience)
{
    const ProcessLimits limits = {patience, std::chrono::seconds(5), quint64(1) << 30, 4096, confinement};
    const char* const script = KeepsFilesAway(confinement) ? kReadsItsInputAlone : kReadsItsInput;
    const QStringList arguments{QStringLiteral("-c"), QString::fromLatin1(script), InputPlaceholder(),
                                QString::fromLatin1(kForbidden)};
    try {
        return RunLimited(QString::fromLatin1(kShell), arguments, kShell, limits, job).hasSucceeded;
    } catch (const CloudError& error) {
        if (error.GetFailure().code == FailureCode::Canceled)
            throw;
        return false;
    }
}

} // namespace

PreviewConfinement StrongestConfinement(const Job& job, std::chrono::milliseconds patience)
{
    for (const auto confinement :
         {PreviewConfinement::Bubblewrap, PreviewConfinement::Landlock, PreviewConfinement::Seccomp})
        if (Works(confinement, job, patience))
            return confinement;
    return PreviewConfinement::Limits;
}

PreviewConfinement UsedPreviewConfinement(const Job& job)
{
    static std::mutex mutex;
    static std::optional<PreviewConfinement> known;
    while (!mutex.try_lock()) {
        job.ThrowIfCanceled();
        std::this_thread::sleep_for(kSlice);
    }
    const std::lock_guard lock(mutex, std::adopt_lock);
    if (!known)
        known = StrongestConfinement(job, kPatience);
    return *known;
}

PreviewConfinement UsedPreviewConfinement()
{
    return UsedPreviewConfinement(Job());
}

QString ToText(PreviewConfinement confinement)
{
    switch (confinement) {
    case PreviewConfinement::Bubblewrap:
        return QStringLiteral("bubblewrap");
    case PreviewConfinement::Landlock:
        return QStringLiteral("landlock");
    case PreviewConfinement::Seccomp:
        return QStringLiteral("seccomp");
    case PreviewConfinement::Limits:
        break;
    }
    return QStringLiteral("limits");
}

} // namespace Orvane::Social
