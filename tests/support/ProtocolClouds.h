#pragma once

#include "LocalFiles.h"

#include <OAuth2.h>
#include <support/PathText.h>

#include <QByteArray>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace Orvane::Tests {

/// Nothing when there is no such file.
inline std::optional<QByteArray> ReadFile(const std::filesystem::path& path)
{
    if (!std::filesystem::exists(path))
        return std::nullopt;
    return QByteArray::fromStdString(Testing::Read(path));
}

/// The names of all that a folder holds, hidden things included.
inline std::set<std::string> NamesIn(const std::filesystem::path& folder)
{
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.insert(entry.path().filename().string());
    return names;
}

/// A cloud of some kind, with what a test needs to do behind the client's back.
class CloudUnderTest
{
public:
    virtual ~CloudUnderTest() = default;

    [[nodiscard]] virtual std::string Address() const = 0;
    [[nodiscard]] virtual QString Token() const = 0;
    [[nodiscard]] virtual Social::OAuth2::AuthInfo Account() const { return {}; }

    [[nodiscard]] virtual bool TakesAnyBytesInNames() const { return true; }
    [[nodiscard]] virtual bool GivesANameToOneOnly() const { return true; }
    [[nodiscard]] virtual bool KnowsHashesOfForeignFiles() const { return true; }

    virtual void Put(const std::string& name, const QByteArray& bytes) = 0;
    [[nodiscard]] virtual std::optional<QByteArray> Read(const std::string& name) const = 0;

    /// All that is there, temporary files included.
    [[nodiscard]] virtual std::set<std::string> Names() const = 0;

    /// The cloud is no longer where it was.
    virtual void TakeAway() = 0;
};

class FolderCloud : public CloudUnderTest
{
public:
    FolderCloud() { std::filesystem::create_directory(Folder()); }

    [[nodiscard]] std::filesystem::path Folder() const { return m_scratch.Path() / "cloud"; }
    [[nodiscard]] std::string Address() const override { return "file://" + Folder().string(); }
    [[nodiscard]] QString Token() const override { return QStringLiteral("any"); }

    void Put(const std::string& name, const QByteArray& bytes) override
    {
        Testing::Write(Folder() / name, bytes.toStdString());
    }

    [[nodiscard]] std::optional<QByteArray> Read(const std::string& name) const override
    {
        return ReadFile(Folder() / name);
    }

    [[nodiscard]] std::set<std::string> Names() const override { return NamesIn(Folder()); }

    void TakeAway() override { std::filesystem::rename(Folder(), m_scratch.Path() / "elsewhere"); }

private:
    Testing::TemporaryFolder m_scratch;
};

} // namespace Orvane::Tests
