#include "tools/gallery.h"

#include <algorithm>
#include <cctype>

namespace picture_host {
namespace {

std::string Escaped(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out;
}

// Picture files are named by the tool; only spaces and the like need escaping in a URL.
std::string Url(const std::string& path) {
  std::string out;
  static const char* kHex = "0123456789ABCDEF";
  for (unsigned char c : path) {
    if (std::isalnum(c) || c == '/' || c == '.' || c == '-' || c == '_') {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 15];
    }
  }
  return out;
}

// The description as flowing text: a line break is kept only before an indented
// line (a parameter) and before what is kept on purpose.
std::string Flowing(const std::string& text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool keep = i + 1 < text.size() && (text[i + 1] == ' ' || text.compare(i + 1, 4, "Kept") == 0);
    out += text[i] == '\n' && !keep ? ' ' : text[i];
  }
  return out;
}

std::string Picture(const std::string& file, const std::string& alt) {
  return "<img src=\"" + Url(file) + "\" alt=\"" + Escaped(alt) + "\">";
}

std::string Colour(const std::string& name) {
  if (name.find("red") != std::string::npos) return "#c33";
  if (name.find("green") != std::string::npos) return "#3a3";
  if (name.find("blue") != std::string::npos) return "#36c";
  return "#555";
}

}  // namespace

std::string HistogramSvg(const GalleryHistogram& histogram) {
  const uint32_t peak = std::max<uint32_t>(1, *std::max_element(histogram.counters.begin(), histogram.counters.end()));
  std::string path;
  for (size_t v = 0; v < histogram.counters.size(); ++v) {
    const int height = static_cast<int>(60.0 * histogram.counters[v] / peak + 0.5);
    if (height > 0) path.append("M").append(std::to_string(v)).append(" 60v-").append(std::to_string(height));
  }
  return "<figure class=\"plot\"><svg viewBox=\"0 0 256 60\" width=\"256\" height=\"60\" "
         "xmlns=\"http://www.w3.org/2000/svg\"><rect width=\"256\" height=\"60\" fill=\"#f4f4f4\"/>"
         "<path d=\"" + path + "\" stroke=\"" + Colour(histogram.name) + "\" stroke-width=\"1\"/></svg>"
         "<figcaption>" + Escaped(histogram.name) + ", 0 to 255, peak " + std::to_string(peak) +
         "</figcaption></figure>";
}

std::string GalleryPage(const std::vector<GallerySection>& sections, const std::string& waveform,
                        const std::string& sound) {
  std::string html = R"(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><title>picture-host gallery</title>
<style>
body { font-family: sans-serif; margin: 1.5em; color: #222; }
table { border-collapse: collapse; }
td { border-top: 1px solid #ccc; padding: .6em; vertical-align: top; }
code, pre { font-size: 90%; }
pre { white-space: pre-wrap; margin: .3em 0; max-width: 46em; }
img { max-width: 320px; image-rendering: pixelated; border: 1px solid #ddd; }
.error { color: #a00; }
figure { margin: .3em 0; }
figcaption { font-size: 80%; color: #555; }
</style></head><body>
<h1>picture-host gallery</h1>
<p>Every method and class of the plug-in, called as the <code>describe</code> example shows, on each picture below.
Results that are no picture are printed beside it; histograms are drawn; a found position is marked in red.</p>
)";
  for (const GallerySection& section : sections) {
    html += "<h2>" + Escaped(section.title) + "</h2>\n<table>\n";
    for (const GalleryItem& item : section.items) {
      html += "<tr><td><code>" + Escaped(item.call) + "</code><br><b>" + Escaped(item.summary) + "</b><pre>" +
              Escaped(Flowing(item.details)) + "</pre></td>\n<td>";
      if (!item.before.empty()) html += Picture(item.before, "before");
      html += "</td>\n<td>";
      if (!item.after.empty()) html += Picture(item.after, "after " + item.call);
      if (!item.printed.empty()) html += "<pre>" + Escaped(item.printed) + "</pre>";
      for (const GalleryHistogram& h : item.histograms) html += HistogramSvg(h);
      if (!item.error.empty()) html += "<p class=\"error\">" + Escaped(item.error) + "</p>";
      html += "</td></tr>\n";
    }
    html += "</table>\n";
  }
  html += "<h2>Waveform</h2>\n<p>" + Escaped(sound) + "</p>\n" + Picture(waveform, "waveform") + "\n</body></html>\n";
  return html;
}

}  // namespace picture_host
