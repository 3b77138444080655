// Runs a fuzz target's input function over stored inputs, with any compiler:
// every file of each directory given (or each file given), in name order. Used
// by the test suite to replay the stored corpora; a failed check aborts.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  std::vector<fs::path> inputs;
  for (int i = 1; i < argc; ++i) {
    if (fs::is_directory(argv[i])) {
      for (const auto& entry : fs::directory_iterator(argv[i])) {
        if (entry.is_regular_file()) inputs.push_back(entry.path());
      }
    } else {
      inputs.emplace_back(argv[i]);
    }
  }
  std::sort(inputs.begin(), inputs.end());
  if (inputs.empty()) {
    std::fprintf(stderr, "no inputs\n");
    return 1;
  }
  LLVMFuzzerInitialize(&argc, &argv);
  for (const fs::path& path : inputs) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
      std::fprintf(stderr, "cannot read %s\n", path.c_str());
      return 1;
    }
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  }
  std::printf("%zu inputs replayed\n", inputs.size());
  return 0;
}
