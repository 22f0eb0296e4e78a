// SPDX-License-Identifier: MIT
// The text that the document benchmarks read.
#pragma once

#include <cstddef>
#include <string>

// A settings file of about that many bytes: groups of a hundred elements with four attributes each,
// one value in four with an entity, one element a line.
inline std::string settingsText(std::size_t size) {
  std::string text = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<VX310>\n";
  for (int element = 0; text.size() < size; ++element) {
    if (element % 100 == 0)
      text += element == 0 ? "\t<Settings>\n" : "\t</Settings>\n\t<Settings>\n";
    const std::string number = std::to_string(element);
    text += "\t\t<Interface ClockSource=\"" + std::to_string(element % 2) + "\" DigitalOutMode=\"" +
            number + "\" Serial=\"" + (element % 4 == 0 ? "A &amp; B " : "VX310 no ") + number +
            "\" StreamFormat=\"24 bit, 96000 Hz, input/output\"/>\n";
  }
  return text + "\t</Settings>\n</VX310>\n";
}
