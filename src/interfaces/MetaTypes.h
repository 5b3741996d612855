#pragma once

#include "FileInfo.h"

#include <QList>
#include <QMetaType>

#include <memory>
#include <string>

Q_DECLARE_METATYPE(std::string)
Q_DECLARE_METATYPE(Orvane::PDF::FileInfo::PreviewSize)
Q_DECLARE_METATYPE(std::shared_ptr<Orvane::PDF::FileInfo>)
Q_DECLARE_METATYPE(std::shared_ptr<const Orvane::PDF::FileInfo>)

namespace Orvane::PDF {

/// Registers the argument types of all signals, so that queued connections and QSignalSpy carry them. Both
/// abstract managers call it; calling it again costs little and changes nothing.
ORVANE_INTERFACES_EXPORT void RegisterMetaTypes();

} // namespace Orvane::PDF
