#pragma once

#include "DocumentRow.h"

namespace Orvane::CommandLine {

/// One difference between two readings of the list.
struct DocumentChange
{
    enum class Kind
    {
        Added,
        Changed,
        Removed
    };

    Kind kind;
    DocumentRow document; ///< as it is now; for a removed one, as it was
};

/// What has become of the list, in the order of the rows, the removed ones last.
[[nodiscard]] QVector<DocumentChange> CompareRows(const QVector<DocumentRow>& before,
                                                  const QVector<DocumentRow>& after);

} // namespace Orvane::CommandLine
