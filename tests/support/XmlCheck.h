// A strict reader of XML documents for tests: it accepts only well-formed XML (one root,
// matched tags, quoted and unique attributes, known entities) and gives the element tree.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace tarnvik::testing {

struct XmlElement {
  std::string name;
  std::map<std::string, std::string> attributes;  // values with entities resolved
  std::vector<XmlElement> children;
  std::string text;  // character data directly inside, entities resolved

  std::string Attribute(const std::string& key) const {
    const auto found = attributes.find(key);
    return found == attributes.end() ? std::string() : found->second;
  }
  // Every element below (not this one) with the given attribute value.
  std::vector<const XmlElement*> FindAll(const std::string& key, const std::string& value) const;
  // The text of this element and all below it, in document order.
  std::string AllText() const;
};

// Throws std::runtime_error naming the offset of the first fault.
XmlElement ParseXml(const std::string& document);

}  // namespace tarnvik::testing
