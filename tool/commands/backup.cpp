#include "tool/conversion/backup.h"

#include <iostream>

#include "tool/commands/commands.h"
#include "tool/conversion/conversion.h"
#include "tool/store/record_counts.h"
#include "tool/support/interrupt.h"
#include "tool/support/printable.h"

namespace vrrpconvert {

namespace fs = std::filesystem;

namespace {

struct BackupOptions {
  std::string store, from;
  JsonReport* json = nullptr;
};

// Throws Error if no record has the layout of the release: the name of the backup would be wrong.
void require_layout(const RecordCounts& counts, const Release& from, const fs::path& store) {
  const Version other = from.has_old_layout ? Version::new_one : Version::old_one;
  if (counts.routers() == 0 || counts.with_layout(other) < counts.routers()) return;
  throw Error(Reason::mismatch, store.string() + ": the records are in the " + word_of(other) + " layout, which " +
                                    from.text + " does not write; give the release that wrote them with --from");
}

Exit back_up(const BackupOptions& options) {
  const Release from = parse_release("--from", options.from);
  const fs::path store = store_at(options.store);
  const Store original(store);
  const RecordCounts counts = count_records(original);
  require_layout(counts, from, store);
  ignore_interrupts();
  const Backup backup = {write_backup(original, store, from), from.text, counts};
  if (options.json != nullptr) {
    options.json->print(
        {{"store", store.native()}, {"file", backup.file}, {"release", backup.release}, {"counts", backup.counts}});
  } else {
    std::cout << "Backup: " << printable(backup.text()) << '\n';
  }
  return exit_done;
}

}  // namespace

void add_backup(CLI::App& app, Choice& choice) {
  Command command(app, choice, "backup", "Write a backup of a store, before the device converts it by itself",
                  "vrrpconvert backup /flash --from '4.1(2)'");
  const auto options = std::make_shared<BackupOptions>();
  run_with(command, options, back_up, Effect::changes);
  command.add_operand("STORE", options->store, "Read this store, or vrrp-cfg_runtime_config in this directory");
  command.add_text("--from", "RELEASE", options->from, "Put this release into the name of the backup");
  command.add_json(options->json);
}

}  // namespace vrrpconvert
