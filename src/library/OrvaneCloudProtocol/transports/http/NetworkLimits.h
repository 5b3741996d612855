#pragma once

#include <QtGlobal>

#include <chrono>

namespace Orvane::Social {

/// How long the network may take, and how much a server may send. Every clock starts when the request is
/// sent, not while it waits for its turn.
struct NetworkLimits
{
    using Milliseconds = std::chrono::milliseconds;

    /// For a connection, TLS included.
    Milliseconds connect{20'000};

    /// An exchange that is slower than lowestSpeed for this long has stalled.
    Milliseconds stall{60'000};

    /// For the answer to a change, once it has been sent: a server may have to copy or assemble the file.
    Milliseconds answer{300'000};

    /// For what must still be done once a request is no longer wanted, such as taking away a temporary.
    Milliseconds afterCancel{5'000};

    /// Before the first repetition; doubled for each further one.
    Milliseconds firstRetry{500};

    int retries = 3;

    /// For all that an upload or a download needs: the pauses together are longer than the restart of a
    /// server.
    int transferRetries = 7;

    /// For the whole of an exchange that carries no document.
    Milliseconds withoutDocument{600'000};

    /// In bytes a second, both directions together.
    int lowestSpeed = 512;

    /// In bytes, for all that a server sends besides the content: status lines, headers, trailers, the frames
    /// of chunks. Frames may be eight times as large as their content, too.
    qint64 mostOverhead = qint64{256} * 1024;
};

} // namespace Orvane::Social
