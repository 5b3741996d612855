#pragma once

#include <QString>

#include <optional>
#include <string>
#include <string_view>

namespace Orvane::Social {

/// A document is known in its cloud by a name of any bytes: the last part of its address, decoded. Here is
/// what the rest of the system sees of it.

/// Whether the name is that of a document: one part of a path, not hidden, ending in ".pdf" in any letter
/// case.
[[nodiscard]] bool IsDocumentName(std::string_view name);

/// The id: the name with every byte that is unsafe in a file name or in a stored record written "%XX". Exact:
/// different names have different ids.
[[nodiscard]] QString DocumentIdOf(std::string_view name);

/// Whether the text is the id of a document.
[[nodiscard]] bool IsDocumentId(const QString& id);

/// The name again; nothing when the text is not the id of a document.
[[nodiscard]] std::optional<std::string> DocumentNameOf(const QString& id);

/// The name for people, which is also safe as the name of one local file. Different names may look alike.
[[nodiscard]] QString ReadableNameOf(std::string_view name);

/// The length in bytes of the UTF-8 character that the text begins with; 0 when it begins with none.
[[nodiscard]] std::size_t LeadingCharacterLength(std::string_view text);

} // namespace Orvane::Social
