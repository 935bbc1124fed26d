// The points of the contract, with their numbers in platform/pss.h.
#pragma once

#include <string>

namespace conformance {

struct Settings {
  std::string url;           // stores are created at URL-1, URL-2 ...
  size_t records = 5000;     // number that must fit
  std::string version_file;  // may be empty
  std::string files;         // directory of the store files; empty if points may not use them
};

struct Point {
  int number;
  const char* title;
  void (*run)(const Settings& settings);
};

// Creates and opens an empty store. Throws std::runtime_error if that fails; so do the points.
void prepare(const Settings& settings);

// In the order in which they run: a point relies only on earlier ones.
extern const Point points[];
extern const int point_count;

}  // namespace conformance
