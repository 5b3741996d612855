#pragma once

#include <QString>

namespace Orvane::Social::OAuth2 {

/// What a sign-in needs besides the token. A default-constructed record serves for most clouds.
struct AuthInfo
{
    /// With a name, the token is sent as the password of Basic authentication; without, as a bearer token.
    QString userName;

    /// PEM file of certificate authorities to trust instead of the system's; empty for the system's.
    QString caFile;

    /// Allows plain http to hosts other than this machine, and so a token that anyone on the way can read.
    bool isInsecureHttpAllowed = false;

    /// Folder for what the client remembers between runs (previews, hashes, what to sweep after a crash);
    /// empty for a folder of its own below the user's cache folder. Holds no secrets.
    QString cacheFolder;

    /// Folder for what the client must not forget while the cloud is in use (what a folder cloud was when it
    /// was last seen); empty for the cache folder. Holds no secrets.
    QString dataFolder = {};

    /// Says that a folder cloud which is empty now, and was not when it was last used, is right nevertheless.
    /// Otherwise an empty folder on another device counts as a share that is not mounted
    /// (FailureCode::NotFound). Holds for one such change.
    bool isEmptiedFolderAccepted = false;
};

} // namespace Orvane::Social::OAuth2
