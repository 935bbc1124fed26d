// The overview of a fleet as one page of HTML: no script, nothing loaded from elsewhere.

#include "tool/commands/device.h"
#include "tool/support/printable.h"

namespace vrrpconvert {
namespace {

constexpr char style[] = R"(
:root { color-scheme: light dark; --line: #8886; --bar: #3b7dd8; --bad: #c0392b; --good: #2e8b57; }
body { font: 15px/1.45 system-ui, sans-serif; margin: 2rem auto; max-width: 75rem; padding: 0 1rem; }
h1 { font-size: 1.4rem; } h2 { font-size: 1.1rem; margin-top: 2rem; }
table { border-collapse: collapse; width: 100%; }
th, td { border-bottom: 1px solid var(--line); padding: .3rem .6rem; text-align: left; vertical-align: top; overflow-wrap: break-word; }
th { white-space: nowrap; } td.number, th.number { text-align: right; font-variant-numeric: tabular-nums; }
.scroll { overflow-x: auto; }
.bars { display: grid; grid-template-columns: max-content 1fr max-content; gap: .3rem .8rem; align-items: center; }
.bar { background: var(--bar); height: .8rem; border-radius: .2rem; min-width: 2px; }
.bad { color: var(--bad); font-weight: 600; } .good { color: var(--good); }
details { border-bottom: 1px solid var(--line); padding: .3rem 0; } summary { cursor: pointer; overflow-wrap: anywhere; }
@media (max-width: 40rem) { body { margin: 1rem auto; }
  .bars { display: block; } .bars > span:nth-child(3n) { display: block; margin-bottom: .5rem; opacity: .75; }
  thead { display: none; } tr { display: block; border-bottom: 1px solid var(--line); padding: .4rem 0; }
  td, td.number { display: block; border: 0; padding: 0; text-align: left; overflow-wrap: anywhere; } td:empty { display: none; }
  td:not(:first-child)::before { content: attr(data-heading) ": "; opacity: .75; font-weight: 400; color: CanvasText; }
  td:first-child { font-weight: 600; } }
@media print { :root { color-scheme: light; } body { margin: 0; max-width: none; } .bar { print-color-adjust: exact; }
  tr, details { break-inside: avoid; }
  details::details-content { content-visibility: visible; display: block; } }
)";

std::string escaped(const std::string& text) {
  std::string html;
  for (const char letter : printable(text)) {
    switch (letter) {
      case '&':
        html += "&amp;";
        break;
      case '<':
        html += "&lt;";
        break;
      case '>':
        html += "&gt;";
        break;
      case '"':
        html += "&quot;";
        break;
      default:
        html += letter;
    }
  }
  return html;
}

std::string cell(const char* heading, const std::string& text, const char* of_class = "") {
  return std::string("<td class=\"") + of_class + "\" data-heading=\"" + heading + "\">" + escaped(text) + "</td>";
}

std::string bar(const std::string& label, size_t part, size_t whole, const std::string& text) {
  return "<span>" + escaped(label) +
         "</span><div class=\"bar\" style=\"width:" + std::to_string(100 * part / std::max<size_t>(whole, 1)) +
         "%\"></div><span>" + escaped(text) + "</span>\n";
}

std::string totals(const Fleet& fleet) {
  const size_t all = fleet.devices.size();
  std::string html = "<h2>Devices by verdict</h2>\n<div class=\"bars\">\n";
  for (const auto& [verdict, count] : fleet.verdicts()) html += bar(verdict, count, all, std::to_string(count));
  html += "</div>\n";
  if (fleet.lost().empty()) return html;
  html += "<h2>Devices that would lose values of a field</h2>\n<div class=\"bars\">\n";
  for (const auto& [field, lost] : fleet.lost()) {
    html +=
        bar(field, lost.devices, all, std::to_string(lost.devices) + " (" + std::to_string(lost.records) + " records)");
  }
  return html + "</div>\n";
}

const char* class_of(const Device& device) { return device.exit == exit_done ? "good" : "bad"; }

std::string row(const Device& device) {
  return "<tr>" + cell("device", device.name) + cell("records", std::to_string(device.records), "number") +
         cell("verdict", device.verdict(), class_of(device)) + cell("would be lost", device.lost_text()) +
         cell("would fail", std::to_string(device.failures), "number") + cell("problem", device.problem) + "</tr>\n";
}

std::string list(const char* heading, const std::map<std::string, NameList>& fields) {
  if (fields.empty()) return "";
  std::string html = std::string("<p>") + heading + ":</p>\n<ul>\n";
  for (const auto& [field, names] : fields) {
    html += "<li>" +
            escaped(field + ", " + std::to_string(names.count) + (names.count == 1 ? " record: " : " records: ") +
                    names.text()) +
            "</li>\n";
  }
  return html + "</ul>\n";
}

std::string details(const Device& device) {
  return "<details><summary>" + escaped(device.name) + ": <span class=\"" + class_of(device) + "\">" +
         escaped(device.verdict()) + "</span></summary>\n" +
         (device.store.empty() ? "" : "<p>" + escaped(device.store) + "</p>\n") +
         (device.problem.empty() ? "" : "<p class=\"bad\">" + escaped(device.problem) + "</p>\n") +
         list("Would be lost", device.lost) + list("Would be lost, which is accepted", device.accepted) +
         list("Would fail", device.failing) +
         (device.added.count > 0 ? "<p>Would be added: " + escaped(device.added.text()) + "</p>\n" : "") +
         "</details>\n";
}

}  // namespace

std::string html_of(const Fleet& fleet) {
  const std::string title = "VRRP configuration" + (fleet.from.empty() ? "" : ": " + fleet.from + " to " + fleet.to) +
                            ", " + std::to_string(fleet.devices.size()) +
                            (fleet.devices.size() == 1 ? " device" : " devices");
  std::string html =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
      escaped(title) + "</title>\n<style>" + style + "</style>\n</head>\n<body>\n<h1>" + escaped(title) + "</h1>\n" +
      totals(fleet) +
      "<h2>Devices</h2>\n<div class=\"scroll\"><table>\n<thead><tr><th>device</th><th "
      "class=\"number\">records</th><th>verdict</th>"
      "<th>would be lost</th><th class=\"number\">would fail</th><th>problem</th></tr></thead>\n<tbody>\n";
  for (const Device& device : fleet.devices) html += row(device);
  html += "</tbody>\n</table></div>\n<h2>Losses of each device</h2>\n";
  for (const Device& device : fleet.devices) html += details(device);
  return html + "</body>\n</html>\n";
}

}  // namespace vrrpconvert
