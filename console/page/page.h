// Pages that open anywhere: each is one file with all that it shows, and asks no server.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <string_view>

/// Text as it stands between the tags of a page, or between the quotation marks of an attribute.
/// Bytes that are no UTF-8 are shown by their code: the line knows no encoding.
std::string HtmlText(const std::string& text);

/// The head of a page up to the start of its body, with the look that all pages share and the style
/// given.
void BeginPage(std::ostream& page, const std::string& title, std::string_view style = {});

/// Writes a page into a new file that takes the place of the old one in one step; "-" is standard
/// output. Throws Failure(kUsage) when it cannot be written, or when that file is no page.
void WritePage(const std::string& path, const std::function<void(std::ostream&)>& write);

/// "made by qmx-console VERSION on DATE", and the end.
void EndPage(std::ostream& page);

/// A page's own files, and those of the library that plots (dygraphs), with its licence.
std::string_view RecordsStyle();
std::string_view RecordsScript();
std::string_view PlotStyle();
std::string_view PlotScript();
std::string_view PlotLicence();
