#include "text_table.h"

#include <algorithm>

namespace tarnvik::tool {

std::size_t TextWidth(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

TextTable::TextTable(std::vector<std::string> header, std::string align) : align_(std::move(align)) {
  rows_.push_back(std::move(header));
}

void TextTable::Add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }

std::string TextTable::Render(const std::string& indent) const {
  std::vector<std::size_t> widths;
  for (const auto& row : rows_) {
    if (widths.size() < row.size()) widths.resize(row.size(), 0);
    for (std::size_t c = 0; c < row.size(); ++c) widths[c] = std::max(widths[c], TextWidth(row[c]));
  }
  std::string out;
  for (const auto& row : rows_) {
    std::string line = indent;
    for (std::size_t c = 0; c < row.size(); ++c) {
      const std::string pad(widths[c] - TextWidth(row[c]), ' ');
      const bool right = c < align_.size() && align_[c] == 'r';
      line += right ? pad + row[c] : row[c] + pad;
      if (c + 1 < row.size()) line += "  ";
    }
    while (!line.empty() && line.back() == ' ') line.pop_back();
    out += line + "\n";
  }
  return out;
}

}  // namespace tarnvik::tool
