#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Texts in the columns of a terminal, which are neither bytes nor characters. The locale has to be set for characters
/// beyond ASCII: see choose_characters().
namespace columns {

/// Which end of a text has to go where it is too long.
enum class Cut { end, start };

/// Takes the characters of the environment's locale; UTF-8 where it knows ASCII alone, as on a machine without any.
void choose_characters();

/// A text from outside as a terminal may show it: no control characters, none that reorder or hide others.
std::string plain(std::string_view text);
/// The characters of a plain text.
std::wstring wide(std::string_view text);
std::string narrow(std::wstring_view text);
/// Lower case, for comparisons.
std::string folded(std::string_view text);

/// Columns that a plain text takes.
int width(std::string_view text);
/// A plain text in exactly `columns`: filled up with blanks behind it, or cut, with "…" in the place of the rest.
std::string fit(std::string_view text, int columns, Cut cut = Cut::end);
/// The same with the blanks ahead.
std::string fit_right(std::string_view text, int columns);
using Rows = std::vector<std::vector<std::string>>;
/// The lines of a table of texts from anywhere: its columns as wide as they need and at least as told, two blanks
/// between them, and none at a line's end.
std::vector<std::string> aligned(Rows rows, std::vector<int> widths = {});
/// The same as one text.
std::string table(Rows rows, std::vector<int> widths = {});

}  // namespace columns
