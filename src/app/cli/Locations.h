#pragma once

#include "Options.h"

#include <filesystem>

namespace Orvane::CommandLine {

/// Where everything lies for one run.
struct Locations
{
    QString cloudAddress; ///< "file:///folder" or "https://host/collection/"; others as the user gave them
    std::filesystem::path dataFolder;
    bool isDataFolderNamed = false; ///< by the user
    std::filesystem::path cacheFolder;
    std::filesystem::path temporaryFolder; ///< below the cache folder

    /// The list and the settings of this one cloud and user: one list is never merged into another's.
    std::filesystem::path sessionFolder;

    /// The folder cloud to make when it is missing; empty when the user has named a cloud.
    std::filesystem::path defaultCloud;
};

/// Works out the places; makes nothing. For options whose address has been checked.
[[nodiscard]] Locations FindLocations(const Options& options);

/// Makes the folders, private to the user, also those that were there before. Throws
/// std::filesystem::filesystem_error.
void MakeFolders(const Locations& locations);

} // namespace Orvane::CommandLine
