#pragma once

#include <QString>
#include <QTemporaryDir>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace Orvane::Testing {

/// A folder of its own for a test, open to every user, gone with it.
class TemporaryFolder
{
public:
    TemporaryFolder() { std::filesystem::permissions(Path(), std::filesystem::perms::all); }
    /// Also what Qt leaves: names that are not UTF-8.
    ~TemporaryFolder() { std::filesystem::remove_all(Path(), m_ignored); }

    [[nodiscard]] std::filesystem::path Path() const
    {
        return std::filesystem::canonical(m_folder.path().toStdString());
    }

private:
    QTemporaryDir m_folder;
    std::error_code m_ignored; ///< a server may still be busy in the folder
};

inline void Write(const std::filesystem::path& file, const std::string& content)
{
    std::ofstream(file, std::ios::binary) << content;
}

inline std::string Read(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

} // namespace Orvane::Testing
