// Byte strings in tests, as hexadecimal digits, and golden files.
#ifndef TESTS_BYTES_H
#define TESTS_BYTES_H

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "platform/pss.h"

using Bytes = std::string;

// Ignores blanks between the digits.
inline Bytes hex(const std::string& digits) {
  Bytes bytes;
  std::string pair;
  for (const char digit : digits) {
    if (digit == ' ') continue;
    pair += digit;
    if (pair.size() == 2) bytes += static_cast<char>(std::stoi(pair, nullptr, 16)), pair.clear();
  }
  return bytes;
}

inline std::string to_hex(const Bytes& bytes) {
  std::string digits;
  for (const unsigned char byte : bytes)
    digits += "0123456789abcdef"[byte >> 4], digits += "0123456789abcdef"[byte & 15];
  return digits;
}

inline pss_datum_t datum(const Bytes& bytes) {
  return {const_cast<char*>(bytes.data()), static_cast<uint32>(bytes.size())};
}

pss_datum_t datum(Bytes&& temporary) = delete;  // the datum would outlive its bytes

inline Bytes bytes_of(const pss_datum_t& datum) { return Bytes(static_cast<const char*>(datum.ptr), datum.siz); }

template <typename Record>
Bytes bytes_of_record(const Record& record) {
  return Bytes(reinterpret_cast<const char*>(&record), sizeof record);
}

// Returns the text of a file in tests/golden. A missing file fails the test.
inline std::string golden(const std::string& name) {
  std::ifstream file(GOLDEN "/" + name);
  if (!file) throw std::runtime_error("the golden file " + name + " is missing");
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

#endif
