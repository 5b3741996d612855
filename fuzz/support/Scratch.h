#pragma once

#include <QByteArray>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>

namespace Orvane::Fuzzing {

/// A folder of this process, in memory where the system has such a place, that goes with it.
class Scratch
{
public:
    Scratch() { std::filesystem::create_directories(m_path); }
    ~Scratch() { std::filesystem::remove_all(m_path); }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    [[nodiscard]] const std::filesystem::path& Path() const { return m_path; }

    void Clear() const
    {
        for (const auto& entry : std::filesystem::directory_iterator(m_path))
            std::filesystem::remove_all(entry.path());
    }

private:
    static std::filesystem::path Parent()
    {
        const std::filesystem::path memory = "/dev/shm";
        return ::access(memory.c_str(), W_OK) == 0 ? memory : std::filesystem::temp_directory_path();
    }

    const std::filesystem::path m_path = Parent() / ("orvane-fuzz-" + std::to_string(::getpid()));
};

inline void Write(const std::filesystem::path& file, const std::string& bytes)
{
    std::ofstream(file, std::ios::binary) << bytes;
}

inline std::string Read(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

} // namespace Orvane::Fuzzing
