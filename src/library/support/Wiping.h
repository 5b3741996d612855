#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>

namespace Orvane::Support {

/// Overwrites what was a secret, in a way that no compiler leaves out.
void Wipe(char* bytes, std::size_t size) noexcept;

/// The same for a text, which is empty afterwards. Characters that other texts share are left to the last of
/// those.
void Wipe(QByteArray& text) noexcept;
void Wipe(QString& text) noexcept;

/// Wipes a text at the end of its scope, whatever way that is left.
template <typename Text>
class WipedAtEnd
{
public:
    explicit WipedAtEnd(Text& text)
        : m_text(text)
    {}
    ~WipedAtEnd() { Wipe(m_text); }
    WipedAtEnd(const WipedAtEnd&) = delete;
    WipedAtEnd& operator=(const WipedAtEnd&) = delete;

private:
    Text& m_text;
};

} // namespace Orvane::Support
