#include <algorithm>
#include <cstring>
#include <iostream>
#include <map>
#include <optional>

#include "tool/commands/commands.h"
#include "tool/conversion/conversion.h"
#include "tool/record/field_value.h"
#include "tool/record/interface_names.h"
#include "tool/record/record_text.h"
#include "tool/store/record_counts.h"
#include "tool/support/digits.h"
#include "tool/support/printable.h"
#include "tool/support/style.h"

namespace vrrpconvert {
namespace {

struct ShowOptions {
  std::string store;
  std::string kind;  // empty for all kinds
  bool reveal = false;
  JsonReport* json = nullptr;
};

struct Column {
  const char* heading;
  bool is_always_shown;
  size_t width = 0;  // 0 for a column that is not shown
};

// Returns one column per field of the kind's longest layout, which is first and has the fields of the others.
std::vector<Column> columns_of(Kind kind) {
  if (kind == Kind::track)
    return {{"interface", true}, {"vr", true}, {"family", true}, {"object", true}, {"value", true}};
  if (!has_layouts(kind)) return {{"key", true}, {"value", true}};
  std::vector<Column> columns = {{"layout", true}};
  const auto longest =
      std::find_if(layouts().begin(), layouts().end(), [kind](const Layout& layout) { return kind == layout.kind; });
  for (const Field& field : longest->fields) columns.push_back({field.heading, field.is_always_shown()});
  return columns;
}

// The table of one kind. It has no column for a field that is unset in every record.
class Table {
 public:
  Table(Kind kind, bool reveal)
      : title_(title_of(kind)), reveal_(reveal), columns_(columns_of(kind)), row_(columns_.size()) {}

  // Computes the widths of the columns.
  void measure(const StoredRecord& record) {
    fill(record);
    for (size_t i = 0; i < used_; ++i) {
      Column& column = columns_[i];
      const bool is_wide_enough = column.width > 0 && row_[i].size() <= column.width;
      if (is_wide_enough || (!column.is_always_shown && means_nothing(row_[i]))) continue;
      column.width = std::max({column.width, row_[i].size(), strlen(column.heading)});
    }
  }

  void print_header() {
    size_t width = 0;
    for (const Column& column : columns_) width += column.width > 0 ? column.width + 2 : 0;
    fits_ = terminal_width() == 0 || width <= terminal_width();
    std::cout << styled(Style::bold, title_) << '\n';
    if (!fits_) return;
    used_ = 0;
    for (const Column& column : columns_) add_cell() = column.heading;
    print_row();
  }

  void print_record(const StoredRecord& record) {
    fill(record);
    fits_ ? print_row() : print_block(name_of(record));
  }

 private:
  static bool means_nothing(const std::string& cell) { return cell == "-" || cell == "0" || cell == "0x0"; }

  // Reuses the memory of the cells.
  std::string& add_cell() {
    row_[used_].clear();
    return row_[used_++];
  }

  void fill(const StoredRecord& record) {
    used_ = 0;
    std::string& first = add_cell();
    if (const auto track = track_key_of(record.key)) {
      first = interface_text(track->ifindex);
      add_cell() = std::to_string(track->vr_id);
      const char* family = word_of(Type::address_type, track->addr_type);
      add_cell() = family != nullptr ? family : std::to_string(track->addr_type);
      add_cell() = std::to_string(track->track_obj_id);
      append_hex(record.value, add_cell());
      return;
    }
    const Kind kind = kind_of(record.key);
    if (!has_layouts(kind)) {
      if (kind == Kind::track) {  // its key does not have the documented form
        first = "value " + hex_of(record.value) + " under key " + hex_of(record.key);
        return;
      }
      append_hex(record.key, first);
      append_hex(record.value, add_cell());
      return;
    }
    const Layout* layout = layout_of(record);
    if (layout == nullptr) {
      first = std::to_string(record.value.size()) + (record.value.size() == 1 ? " byte" : " bytes") + " under key " +
              hex_of(record.key);
      return;
    }
    first = layout->version != Version::only ? word_of(layout->version) : "-";
    if (is_misplaced(record)) first += " under key " + hex_of(record.key);
    for (const Field& field : layout->fields) append_text(field, field.in(record.value), reveal_, add_cell());
    while (used_ < columns_.size()) add_cell() = '-';  // fields that the old layout does not have
  }

  void print_row() {
    line_.clear();
    for (size_t i = 0; i < used_; ++i) {
      const size_t width = columns_[i].width;
      if (width == 0) continue;
      line_.append(2, ' ').append(row_[i]).append(std::max(width, row_[i].size()) - row_[i].size(), ' ');
    }
    line_.erase(line_.find_last_not_of(' ') + 1);
    std::cout << line_ << '\n';
  }

  // Prints a record as a block if the table is wider than the terminal.
  void print_block(const std::string& name) {
    std::cout << "  " << styled(Style::bold, name) << '\n';
    for (size_t i = 0; i < used_; ++i) {
      if (columns_[i].width == 0 || row_[i] == "-") continue;
      line_.assign(columns_[i].heading).resize(12, ' ');
      std::cout << "    " << line_ << row_[i] << '\n';
    }
  }

  std::string title_;
  bool reveal_;
  bool fits_ = true;
  std::vector<Column> columns_;
  std::vector<std::string> row_;
  size_t used_ = 0;
  std::string line_;
};

bool is_selected(const StoredRecord& record, const ShowOptions& options) {
  return options.kind.empty() || options.kind == word_of(kind_of(record.key));
}

// In key order the records of one kind are consecutive, so two walks print all tables without holding records.
void show_tables(const Store& store, const ShowOptions& options) {
  std::map<Kind, Table> tables;
  RecordCounts counts;
  store.for_each([&](const StoredRecord& record) {
    counts.add(record);
    if (!is_selected(record, options)) return;
    const Kind kind = kind_of(record.key);
    tables.try_emplace(kind, kind, options.reveal).first->second.measure(record);
  });
  std::optional<Kind> shown;
  store.for_each([&](const StoredRecord& record) {
    if (!is_selected(record, options)) return;
    const Kind kind = kind_of(record.key);
    Table& table = tables.find(kind)->second;
    if (kind != shown) {
      if (shown) std::cout << '\n';
      shown = kind;
      table.print_header();
    }
    table.print_record(record);
  });
  if (shown) std::cout << '\n';
  std::cout << printable(options.store) << ": " << counts.text() << '\n';
}

void show_json(const Store& store, const ShowOptions& options) {
  RecordCounts counts;
  JsonWriter& json = options.json->begin();
  json.member("store", options.store);
  json.key("records");
  json.begin_list();
  store.for_each([&](const StoredRecord& record) {
    counts.add(record);
    if (is_selected(record, options)) write_record(json, record, options.reveal);
  });
  json.end();
  json.member("counts", Json(counts));
  options.json->end({});
}

Exit show(const ShowOptions& given) {
  ShowOptions options = given;
  options.store = store_at(given.store);
  const Store store(options.store);
  options.json != nullptr ? show_json(store, options) : show_tables(store, options);
  return exit_done;
}

}  // namespace

void add_show(CLI::App& app, Choice& choice) {
  Command command(app, choice, "show", "Show the records of a store as tables",
                  "vrrpconvert show --kind vr vrrp-cfg_runtime_config");
  const auto options = std::make_shared<ShowOptions>();
  run_with(command, options, show, Effect::reads);
  command.add_operand("STORE", options->store, "Read this store, or the one in this directory");
  std::vector<std::string> words;
  for (const Kind kind : kinds) words.emplace_back(word_of(kind));
  command.add_word("--kind", options->kind, words, "Show only records of this kind");
  command.add_reveal(options->reveal);
  command.add_interfaces();
  command.add_json(options->json);
}

}  // namespace vrrpconvert
