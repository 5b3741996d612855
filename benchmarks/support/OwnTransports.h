#pragma once

#include <OrvaneCloudProtocol/transports/Transport.h>

/// A program that links OwnTransports.cpp knows, instead of clouds on the web, the cloud "nothing:". Every
/// request succeeds there at once, and the ids of its documents are the paths of the files to render.
namespace Orvane::Benchmarks {

/// How often a document of that cloud has been fetched to be rendered so far.
[[nodiscard]] int FetchesForRendering();

} // namespace Orvane::Benchmarks
