// What every method and class of the picture plug-in does, in a user's words: the
// texts of `picture-host describe` and `list`, and the calls the gallery makes. One
// entry per registered name; its overloads share it.
#pragma once

#include <span>
#include <string_view>

namespace picture_host {

struct CatalogueEntry {
  std::string_view name;     // as registered
  std::string_view family;   // one of Families()
  std::string_view summary;  // one line
  std::string_view details;  // what it does, each parameter with unit and range, quirks kept on purpose
  // A call as picture-host takes it on a photo. The files it names (second.png,
  // pattern.png, mask.png, picture.ppic) are those the gallery makes beside its page.
  std::string_view example;
};

std::span<const CatalogueEntry> Catalogue();
// In the order `list` shows them.
std::span<const std::string_view> Families();
// By name, any case; null for a name the catalogue does not hold.
const CatalogueEntry* FindEntry(std::string_view name);

}  // namespace picture_host
