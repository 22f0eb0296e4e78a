// SPDX-License-Identifier: MIT
// Reads a text into a tree and destroys the tree; writes a tree to a text. The same with three
// other libraries. `bytes_per_second` counts the bytes of the text.
#include <benchmark/benchmark.h>
#include <expat.h>
#include <tinyxml2.h>

#include <cstddef>
#include <memory>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/xml/doc.h"

namespace {

// A settings file of about `size` bytes, one element per line: groups of a hundred elements with
// four attributes each; every fourth element has a value with an entity.
std::string settingsText(std::size_t size) {
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

// --- A tree built with expat ---

struct Element {
  std::string name;
  std::vector<std::pair<std::string, std::string>> attributes;
  std::vector<std::unique_ptr<Element>> children;
};

std::unique_ptr<Element> readWithExpat(const std::string& text) {
  auto root = std::make_unique<Element>();
  std::vector<Element*> open = {root.get()};
  XML_Parser parser = XML_ParserCreate(nullptr);
  XML_SetUserData(parser, &open);
  XML_SetElementHandler(
      parser,
      [](void* data, const XML_Char* name, const XML_Char** attributes) {
        auto& path = *static_cast<std::vector<Element*>*>(data);
        auto element = std::make_unique<Element>();
        element->name = name;
        for (; *attributes != nullptr; attributes += 2) {
          element->attributes.emplace_back(attributes[0], attributes[1]);
        }
        path.back()->children.push_back(std::move(element));
        path.push_back(path.back()->children.back().get());
      },
      [](void* data, const XML_Char*) { static_cast<std::vector<Element*>*>(data)->pop_back(); });
  if (XML_Parse(parser, text.data(), static_cast<int>(text.size()), 1) != XML_STATUS_OK) {
    root = nullptr;
  }
  XML_ParserFree(parser);
  return root;
}

void appendEscaped(std::string& out, std::string_view value) {
  for (const char c : value) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&apos;";
        break;
      default:
        out += c;
    }
  }
}

void writeElement(std::string& out, const Element& element, std::size_t level) {
  out.append(level, '\t').append("<").append(element.name);
  for (const auto& [name, value] : element.attributes) {
    out.append(" ").append(name).append("=\"");
    appendEscaped(out, value);
    out += '"';
  }
  if (element.children.empty()) {
    out += "/>\n";
    return;
  }
  out += ">\n";
  for (const auto& child : element.children) writeElement(out, *child, level + 1);
  out.append(level, '\t').append("</").append(element.name).append(">\n");
}

// --- Each library: its tree, its reader and its writer ---

struct Ours {
  using Text = LumString;
  static Text textOf(const std::string& text) { return LumString(text.c_str()); }
  struct Tree : XML::Doc {
    explicit Tree(const Text& text) { load(text); }
    std::size_t write() const {
      LumString out;
      buildXML(out);
      return static_cast<std::size_t>(out.getLength());
    }
  };
};

struct Pugixml {
  using Text = std::string;
  static const Text& textOf(const std::string& text) { return text; }
  struct Tree {
    explicit Tree(const Text& text) { document.load_buffer(text.data(), text.size()); }
    std::size_t write() const {
      struct Writer : pugi::xml_writer {
        void write(const void* data, std::size_t size) override {
          out.append(static_cast<const char*>(data), size);
        }
        std::string out;
      } writer;
      document.save(writer);
      return writer.out.size();
    }
    pugi::xml_document document;
  };
};

struct Tinyxml2 {
  using Text = std::string;
  static const Text& textOf(const std::string& text) { return text; }
  struct Tree {
    explicit Tree(const Text& text) { document.Parse(text.data(), text.size()); }
    std::size_t write() const {
      tinyxml2::XMLPrinter printer;
      document.Accept(&printer);
      return static_cast<std::size_t>(printer.CStrSize());
    }
    tinyxml2::XMLDocument document;
  };
};

struct Expat {
  using Text = std::string;
  static const Text& textOf(const std::string& text) { return text; }
  struct Tree {
    explicit Tree(const Text& text) : root(readWithExpat(text)) {}
    std::size_t write() const {
      std::string out = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n";
      for (const auto& child : root->children) writeElement(out, *child, 0);
      return out.size();
    }
    std::unique_ptr<Element> root;
  };
};

template <typename Library>
void Read(benchmark::State& state) {
  const std::string text = settingsText(static_cast<std::size_t>(state.range(0)));
  const typename Library::Text input = Library::textOf(text);
  for (auto _ : state) {
    const typename Library::Tree tree(input);
    benchmark::DoNotOptimize(&tree);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

template <typename Library>
void Write(benchmark::State& state) {
  const std::string text = settingsText(static_cast<std::size_t>(state.range(0)));
  const typename Library::Tree tree(Library::textOf(text));
  std::size_t size = 0;
  for (auto _ : state) benchmark::DoNotOptimize(size = tree.write());
  if (size < text.size() / 10 * 9) state.SkipWithError("the tree is not the text's");
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

void sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(5'000)->Arg(1'000'000)->Arg(50'000'000)->Unit(benchmark::kMicrosecond);
}

BENCHMARK_TEMPLATE(Read, Ours)->Apply(sizes);
BENCHMARK_TEMPLATE(Read, Pugixml)->Apply(sizes);
BENCHMARK_TEMPLATE(Read, Expat)->Apply(sizes);
BENCHMARK_TEMPLATE(Read, Tinyxml2)->Apply(sizes);
BENCHMARK_TEMPLATE(Write, Ours)->Apply(sizes);
BENCHMARK_TEMPLATE(Write, Pugixml)->Apply(sizes);
BENCHMARK_TEMPLATE(Write, Expat)->Apply(sizes);
BENCHMARK_TEMPLATE(Write, Tinyxml2)->Apply(sizes);

}  // namespace
