#pragma once

#include <QString>

namespace Orvane::PDF::Cloud {

/// What a download does when something stands at its target already.
enum class ExistingFile
{
    Refuse,   ///< fails (FailureCode::Conflict) and leaves it alone
    KeepBoth, ///< takes the next free name: "name (2).pdf", "name (3).pdf", …
    Replace   ///< replaces a file, or the file that a link leads to, once the document has arrived whole;
              ///< fails (FailureCode::LocalDisk) where anything else stands
};

/// Where a download puts its file.
struct DownloadTarget
{
    /// An existing folder. A relative one counts from the process's current folder.
    QString folder;

    ExistingFile existingFile = ExistingFile::Refuse;

    /// The file's name within the folder: a name, not a path. Empty for the name that the cloud gives.
    QString fileName = {};
};

} // namespace Orvane::PDF::Cloud
