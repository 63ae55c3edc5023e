#include "views/check_page.h"

#include "line/visible.h"
#include "page/page.h"

namespace {

void WriteFindings(std::ostream& page, const Findings& findings) {
  page << "<div class=\"scroll\"><table>\n";
  for (const Finding& finding : findings.All()) {
    const bool good = finding.kind == Finding::Kind::kOk;
    page << "<tr><td class=\"" << (good ? "ok" : "look") << "\">" << KindText(finding.kind)
         << "</td><th scope=\"row\">" << HtmlText(finding.topic) << "</th><td>"
         << HtmlText(Visible(finding.text)) << "</td></tr>\n";
  }
  page << "</table></div>\n";
}

void WriteValues(std::ostream& page, const Findings& findings) {
  if (findings.values.empty()) return;
  page
      << "<h2>Registers</h2>\n<div class=\"scroll\"><table>\n<thead><tr><th class=\"number\">number"
         "</th><th>name</th><th>value</th></tr></thead>\n";
  for (const RegisterValue& reg : findings.values) {
    page << "<tr><td class=\"number\">" << reg.number << "</td><td>" << HtmlText(reg.name)
         << "</td><td>" << HtmlText(Visible(reg.value)) << "</td></tr>\n";
  }
  page << "</table></div>\n";
}

}  // namespace

void WriteCheckPage(const std::string& path, const std::string& device, const std::string& use,
                    const Findings& findings) {
  WritePage(path, [&](std::ostream& page) {
    BeginPage(page, "Check of the instrument at " + device);
    page << (findings.AreGood() ? "<p class=\"ok\">Everything is as it should be."
                                : "<p class=\"look\">There is something to look at.")
         << "</p>\n";
    WriteFindings(page, findings);
    if (!use.empty()) page << "<p>It is asked with <code>" << HtmlText(use) << "</code>.</p>\n";
    WriteValues(page, findings);
    EndPage(page);
  });
}
