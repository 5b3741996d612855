#pragma once

#include "Problem.h"

#include <OrvaneCloudProtocol/Failure.h>

namespace Orvane::CommandLine {

/// What a failed request means to a person.
///
/// @param subject  the name of the file or document concerned; not used where an operation has none
[[nodiscard]] Problem DescribeFailure(Social::Operation operation, const QString& subject,
                                      const Social::Failure& failure);

/// One sentence: why the cloud is asked again, and when.
[[nodiscard]] QString DescribePause(const Social::Failure& why, int milliseconds);

} // namespace Orvane::CommandLine
