#pragma once

#include <OrvaneCloudProtocol/PreviewConfinement.h>

#include <QtGlobal>

#include <chrono>

namespace Orvane::Social {

/// What a helper process may use before it is killed, and what it may reach. CPU time and memory are limited
/// where the system can.
struct ProcessLimits
{
    std::chrono::milliseconds wallTime;
    std::chrono::seconds cpuTime;
    quint64 memoryBytes; ///< of address space
    qint64 outputBytes;
    PreviewConfinement confinement;
};

} // namespace Orvane::Social
