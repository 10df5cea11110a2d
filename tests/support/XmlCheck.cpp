#include "XmlCheck.h"

#include <cctype>
#include <stdexcept>

namespace tarnvik::testing {

namespace {

class Reader {
 public:
  explicit Reader(const std::string& s) : s_(s) {}

  XmlElement Document() {
    if (Starts("<?xml")) Skip("?>");
    Misc();
    if (!Starts("<")) Fail("no root element");
    XmlElement root = Element();
    Misc();
    if (pos_ != s_.size()) Fail("content after the root element");
    return root;
  }

 private:
  [[noreturn]] void Fail(const std::string& what) const {
    throw std::runtime_error("XML not well-formed at offset " + std::to_string(pos_) + ": " + what);
  }
  bool Starts(const char* t) const { return s_.compare(pos_, std::char_traits<char>::length(t), t) == 0; }
  void Skip(const char* end) {
    const auto at = s_.find(end, pos_);
    if (at == std::string::npos) Fail(std::string("missing ") + end);
    pos_ = at + std::char_traits<char>::length(end);
  }
  void Space() {
    while (pos_ < s_.size() && std::isspace(static_cast<unsigned char>(s_[pos_]))) ++pos_;
  }
  void Misc() {
    for (;;) {
      Space();
      if (Starts("<!--")) {
        Skip("-->");
      } else {
        return;
      }
    }
  }
  static bool NameChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-' || c == '.' || c == ':' ||
           (static_cast<unsigned char>(c) & 0x80);
  }
  std::string Name() {
    const auto start = pos_;
    if (pos_ >= s_.size() || std::isdigit(static_cast<unsigned char>(s_[pos_])) || s_[pos_] == '-' ||
        s_[pos_] == '.') {
      Fail("bad name");
    }
    while (pos_ < s_.size() && NameChar(s_[pos_])) ++pos_;
    if (pos_ == start) Fail("empty name");
    return s_.substr(start, pos_ - start);
  }
  // Character data up to stop, with entities resolved; '<' inside is a fault.
  std::string Chars(char stop) {
    std::string out;
    while (pos_ < s_.size() && s_[pos_] != stop) {
      const char c = s_[pos_];
      if (c == '<') Fail("'<' in character data");
      if (static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r') Fail("control character");
      if (c == '&') {
        const auto end = s_.find(';', pos_);
        if (end == std::string::npos) Fail("unterminated entity");
        const std::string name = s_.substr(pos_ + 1, end - pos_ - 1);
        if (name == "amp") out += '&';
        else if (name == "lt") out += '<';
        else if (name == "gt") out += '>';
        else if (name == "quot") out += '"';
        else if (name == "apos") out += '\'';
        else if (name.size() > 1 && name[0] == '#') out += '?';  // numeric reference: accepted
        else Fail("unknown entity &" + name + ";");
        pos_ = end + 1;
      } else {
        out += c;
        ++pos_;
      }
    }
    return out;
  }
  XmlElement Element() {
    ++pos_;  // '<'
    XmlElement e;
    e.name = Name();
    for (;;) {
      Space();
      if (Starts("/>")) {
        pos_ += 2;
        return e;
      }
      if (Starts(">")) {
        ++pos_;
        break;
      }
      const std::string key = Name();
      Space();
      if (!Starts("=")) Fail("attribute without '='");
      ++pos_;
      Space();
      if (pos_ >= s_.size() || (s_[pos_] != '"' && s_[pos_] != '\'')) Fail("unquoted attribute value");
      const char quote = s_[pos_++];
      std::string value = Chars(quote);
      if (pos_ >= s_.size()) Fail("unterminated attribute value");
      ++pos_;
      if (!e.attributes.emplace(key, value).second) Fail("duplicate attribute " + key);
    }
    for (;;) {
      e.text += Chars('<');
      if (pos_ >= s_.size()) Fail("element <" + e.name + "> not closed");
      if (Starts("<!--")) {
        Skip("-->");
      } else if (Starts("</")) {
        pos_ += 2;
        if (Name() != e.name) Fail("end tag does not match <" + e.name + ">");
        Space();
        if (!Starts(">")) Fail("bad end tag");
        ++pos_;
        return e;
      } else {
        e.children.push_back(Element());
      }
    }
  }

  const std::string& s_;
  std::size_t pos_ = 0;
};

void Collect(const XmlElement& e, const std::string& key, const std::string& value,
             std::vector<const XmlElement*>& out) {
  for (const auto& child : e.children) {
    if (child.Attribute(key) == value) out.push_back(&child);
    Collect(child, key, value, out);
  }
}

}  // namespace

std::vector<const XmlElement*> XmlElement::FindAll(const std::string& key, const std::string& value) const {
  std::vector<const XmlElement*> out;
  Collect(*this, key, value, out);
  return out;
}

std::string XmlElement::AllText() const {
  std::string out = text;
  for (const auto& child : children) out += child.AllText();
  return out;
}

XmlElement ParseXml(const std::string& document) { return Reader(document).Document(); }

}  // namespace tarnvik::testing
