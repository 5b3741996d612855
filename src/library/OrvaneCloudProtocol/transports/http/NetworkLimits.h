#pragma once

#include <chrono>

namespace Orvane::Social {

/// How long the network may take. Every clock starts when the request is sent, not while it waits for its
/// turn.
struct NetworkLimits
{
    using Milliseconds = std::chrono::milliseconds;

    /// For a connection, TLS included.
    Milliseconds connect{20'000};

    /// An exchange in which less than 1 KiB passes within this time has stalled.
    Milliseconds stall{45'000};

    /// For the answer to a change, once it has been sent: a server may have to copy or assemble the file.
    Milliseconds answer{300'000};

    /// For what must still be done once a request is no longer wanted, such as taking away a temporary.
    Milliseconds afterCancel{5'000};

    /// Before the first repetition; doubled for each further one.
    Milliseconds firstRetry{500};

    int retries = 3;
};

} // namespace Orvane::Social
