// The verbs of the tool. Each prints its result on standard output and returns its exit code, or throws Error when it
// cannot do what it is asked.
#ifndef TOOL_VERBS_H
#define TOOL_VERBS_H

#include <string>

#include "tool/error.h"

namespace vrrpconvert {

struct ImportOptions {
  std::string store;
  std::string file = "-";
  bool force = false;
  bool json = false;
};
Exit import_store(const ImportOptions& options);

struct ExportOptions {
  std::string store;
  std::string output;  // empty: standard output
  bool raw = false;
};
Exit export_store(const ExportOptions& options);

struct ShowOptions {
  std::string store;
  std::string kind;  // empty: all
  bool reveal = false;
  bool json = false;
};
Exit show(const ShowOptions& options);

struct CheckOptions {
  std::string store;
  std::string release;  // empty: any
  bool json = false;
};
Exit check(const CheckOptions& options);

struct DiffOptions {
  std::string a, b;
  bool reveal = false;
  bool json = false;
};
Exit diff(const DiffOptions& options);

struct ConvertOptions {
  std::string folder;
  std::string from;
  std::string to;
  unsigned vdc = 1;
  bool startup = false;
  std::string trace;
  std::string root;
  bool dry_run = false;
  bool allow_loss = false;
  bool backup = true;
  bool reveal = false;
  bool json = false;
};
Exit convert(const ConvertOptions& options);

struct RestoreOptions {
  std::string copy;
  std::string store;
  bool json = false;
};
Exit restore(const RestoreOptions& options);

}  // namespace vrrpconvert

#endif
