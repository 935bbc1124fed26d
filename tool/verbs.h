// The verbs of the tool. Each throws Error when it cannot do what it is asked.
#ifndef TOOL_VERBS_H
#define TOOL_VERBS_H

#include <string>

#include "tool/error.h"

namespace vrrpconvert {

struct ImportOptions {
  std::string store;
  std::string file = "-";
  bool force = false;
};
Exit import_store(const ImportOptions& options);

struct ExportOptions {
  std::string store;
  bool raw = false;
};
Exit export_store(const ExportOptions& options);

struct ConvertOptions {
  std::string folder;
  std::string from;
  std::string to;
  unsigned vdc = 1;
  bool startup = false;
  std::string trace;
  std::string root;
};
Exit convert(const ConvertOptions& options);

}  // namespace vrrpconvert

#endif
