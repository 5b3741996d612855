#pragma once

#include <OrvaneExport.h>

#include <QString>

namespace Orvane::Social {

/// What keeps the process that renders previews from the rest of the system, the weakest first. Limits on its
/// time, memory and files hold with each of them; it inherits no descriptor and no variable of ours.
enum class PreviewConfinement
{
    Limits,     ///< nothing else: it has the user's files and network
    Seccomp,    ///< no network, no other processes, no writing; it can read what the user can read
    Landlock,   ///< as Seccomp, and it can read only its document and what it needs to run
    Bubblewrap, ///< as Landlock, in namespaces of its own
};

/// The strongest kind that works on this system, which is what the previews of this process use. The first
/// call tries the kinds out, which takes some milliseconds, and 5 s for one that hangs; later calls return
/// what it has found. Thread-safe.
[[nodiscard]] ORVANE_PROTOCOL_EXPORT PreviewConfinement UsedPreviewConfinement();

/// One lower-case word for programs: "limits", "seccomp", "landlock" or "bubblewrap".
[[nodiscard]] ORVANE_PROTOCOL_EXPORT QString ToText(PreviewConfinement confinement);

} // namespace Orvane::Social
