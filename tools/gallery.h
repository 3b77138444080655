// The gallery page of picture-host: every call of the catalogue on a picture, its
// description, the picture before and after, the values it printed and its
// histograms as small plots; and the waveform of a sound. Only the page is made
// here; picture-host runs the calls and writes the pictures it names.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace picture_host {

struct GalleryHistogram {
  std::string name;               // the variable that holds it
  std::vector<uint32_t> counters;  // 256
};

struct GalleryItem {
  std::string call;       // as given to picture-host
  std::string summary;
  std::string details;
  std::string before;     // picture files, relative to the page; empty for none
  std::string after;
  std::string printed;    // the NAME = value lines
  std::string error;      // why the call failed, if it did
  std::vector<GalleryHistogram> histograms;
};

struct GallerySection {
  std::string title;
  std::vector<GalleryItem> items;
};

// A small SVG plot of 256 counters, as a bar per value, scaled to the peak.
std::string HistogramSvg(const GalleryHistogram& histogram);

// The whole page; `waveform` is the waveform picture's file and `sound` a line about it.
std::string GalleryPage(const std::vector<GallerySection>& sections, const std::string& waveform,
                        const std::string& sound);

}  // namespace picture_host
