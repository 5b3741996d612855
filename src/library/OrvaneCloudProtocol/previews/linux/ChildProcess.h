#pragma once

#include <utility>
#include <vector>

#include <linux/filter.h>
#include <sys/resource.h>
#include <sys/types.h>

namespace Orvane::Social {

/// What a new process is to be like. Everything referred to outlives StartChild.
struct ChildPlan
{
    char* const* arguments; ///< the program's absolute path first
    char* const* environment;
    std::vector<int> descriptors;               ///< become 0, 1, 2 and so on; it gets no others
    std::vector<std::pair<int, rlim_t>> limits; ///< resource, most; a limit that is below already stays
    bool keepsRights = false;                   ///< what root may do, and what a set-user-ID file gives
    bool outlivesThread = false;                ///< is not killed when the calling thread ends
    int landlockRuleset = -1;
    const std::vector<sock_filter>* syscallFilter = nullptr;
};

/// Starts a process in a session of its own, without a copy of this one's memory. It is killed when the
/// calling thread ends, unless it is to outlive that. Throws CloudError (Unsupported) when the program does
/// not start as planned.
[[nodiscard]] pid_t StartChild(const ChildPlan& plan);

} // namespace Orvane::Social
