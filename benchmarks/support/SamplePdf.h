#pragma once

#include <QByteArray>

#include <filesystem>

namespace Orvane::Benchmarks {

/// A page full of text. @p mark makes documents differ.
[[nodiscard]] QByteArray TextPage(int mark);

/// A hundred pages, each filled by a photograph.
[[nodiscard]] QByteArray HundredPhotographs(int mark);

/// A picture of a page of text in the form in which a renderer gives it, as a file.
[[nodiscard]] std::filesystem::path RenderedTextPage();

} // namespace Orvane::Benchmarks
