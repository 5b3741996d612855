#pragma once

#include <utility>

#include <unistd.h>

namespace Orvane::Social {

/// Owns a file descriptor, or none.
class Descriptor
{
public:
    explicit Descriptor(int number = -1)
        : m_number(number)
    {}
    ~Descriptor() { Close(); }
    Descriptor(Descriptor&& other) noexcept
        : m_number(std::exchange(other.m_number, -1))
    {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(m_number, other.m_number);
        return *this;
    }

    [[nodiscard]] int Number() const { return m_number; }
    [[nodiscard]] bool IsOpen() const { return m_number >= 0; }
    void Close()
    {
        if (IsOpen())
            ::close(std::exchange(m_number, -1));
    }

private:
    int m_number;
};

} // namespace Orvane::Social
