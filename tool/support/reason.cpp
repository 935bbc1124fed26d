#include "tool/support/reason.h"

#include <iterator>
#include <stdexcept>

namespace vrrpconvert {
namespace {

constexpr ExitMeaning exits[] = {
    {exit_done, "success, or no difference"},
    {exit_found, "differences, problems, a mismatch, a loss that is not allowed, deleted records, or another snapshot"},
    {exit_usage, "usage error, or a new file that already exists"},
    {exit_bad_input, "missing, damaged or invalid input"},
    {exit_in_use, "store in use, or changed since the plan or the dry run"},
    {exit_io, "I/O error, or no space, memory or permission; nothing was changed"},
    {exit_unknown, "unknown outcome, or an incomplete report of a change"},
    {exit_some_failed, "records failed or would fail, or a mismatch in a fleet"},
    {exit_interrupted, "interrupted; the store is unchanged"},
};

struct Meaning {
  const char* word;
  Exit exit;
  const char* advice;
};

constexpr Meaning meanings[] = {{"", exit_done, ""},
#define X(word, exit, advice) {#word, exit, advice},
                                VRRPCONVERT_REASONS(X)
#undef X
};

const Meaning& meaning_of(Reason reason) { return meanings[static_cast<size_t>(reason)]; }

Reason reason_of(const std::string& word) {
  for (size_t i = 0; i < std::size(meanings); ++i) {
    if (word == meanings[i].word) return static_cast<Reason>(i);
  }
  throw std::out_of_range("a reason");
}

}  // namespace

std::span<const ExitMeaning> exit_meanings() { return exits; }

const char* word_of(Reason reason) { return meaning_of(reason).word; }

std::vector<std::string> reason_words() {
  std::vector<std::string> words;
  for (const Meaning& meaning : std::span(meanings).subspan(1)) words.emplace_back(meaning.word);
  return words;
}

Exit exit_of(Reason reason) { return meaning_of(reason).exit; }

std::string advice_for(Reason reason) {
  const std::string advice = meaning_of(reason).advice;
  return advice.empty() ? "" : "; " + advice;
}

void to_json(Json& json, const Ending& ending) {
  json = {{"problem", or_null(ending.problem)}, {"reason", or_null(word_of(ending.reason))}, {"exit", ending.exit()}};
}

void from_json(const Json& json, Ending& ending) {
  const auto text = [&json](const char* name) {
    return json.at(name).is_null() ? "" : json.at(name).get<std::string>();
  };
  ending = {reason_of(text("reason")), text("problem")};
  if (to_count(json.at("exit")) != ending.exit()) throw std::out_of_range("an exit status");
}

}  // namespace vrrpconvert
