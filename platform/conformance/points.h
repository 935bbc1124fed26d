// The points of the contract, by their numbers in platform/pss.h.
#pragma once

#include <string>

namespace conformance {

struct Settings {
  std::string url;           // stores are made at URL-1, URL-2 ...
  size_t records = 5000;     // that have to fit
  std::string version_file;  // empty: none is known
};

struct Point {
  int number;
  const char* title;
  void (*ask)(const Settings& settings);
};

// Makes and opens an empty store. Throws std::runtime_error if that fails, as the points do.
void prepare(const Settings& settings);

// In the order in which they are asked: what later ones rely on comes first.
extern const Point points[];
extern const int point_count;

}  // namespace conformance
