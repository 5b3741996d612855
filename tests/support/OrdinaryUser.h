#pragma once

#include <unistd.h>

namespace Orvane::Testing {

/// For as long as it lives, file permissions bind this process even when root runs it.
class OrdinaryUser
{
public:
    OrdinaryUser() = default;
    ~OrdinaryUser() { m_isBound = seteuid(m_former) != 0; }
    OrdinaryUser(const OrdinaryUser&) = delete;

    [[nodiscard]] bool IsBound() const { return m_isBound; }

private:
    static constexpr uid_t kNobody = 65534;
    const uid_t m_former = geteuid();
    bool m_isBound = m_former != 0 || seteuid(kNobody) == 0;
};

} // namespace Orvane::Testing
