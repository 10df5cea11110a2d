// A plain-text table: columns padded to their widest cell, numbers right-aligned.
#pragma once

#include <string>
#include <vector>

namespace tarnvik::tool {

class TextTable {
 public:
  // One letter per column: 'l' left-aligned, 'r' right-aligned.
  TextTable(std::vector<std::string> header, std::string align);
  void Add(std::vector<std::string> row);
  // The table, each line starting with indent and ending in "\n"; trailing blanks cut.
  std::string Render(const std::string& indent) const;

 private:
  std::vector<std::vector<std::string>> rows_;
  std::string align_;
};

// Characters, not bytes, of a UTF-8 text (for padding).
std::size_t TextWidth(const std::string& text);

}  // namespace tarnvik::tool
