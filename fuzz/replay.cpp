// PROGRAM -runs=0 DIRECTORY: runs a fuzzer once with each file in DIRECTORY, without libFuzzer.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(argv[argc - 1])) {
    std::cerr << entry.path() << std::endl;  // the last line before a failure names the input
    std::ifstream stream(entry.path(), std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    ++files;
  }
  return files > 0 ? 0 : 1;
}
