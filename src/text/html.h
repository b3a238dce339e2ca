// text/html.h
//
// Text made fit for the cells of an HTML table.
#pragma once

#include <string>
#include <string_view>

// The HTML form of a text: escapes, <br> for line ends, links for addresses.
std::string html_value(const char* text);
// True if the HTML form of `text` is the text itself with one blank behind it: no
// byte to escape, no tab, no blank at either end nor two in a row, nothing that
// looks like an address.
bool html_is_plain(std::string_view text);
// Appends the HTML form of `text` (up to a NUL, if it holds one) to `out`, with
// `scratch` as working space: html_value without its allocations.
void html_append(std::string& out, std::string_view text, std::string& scratch);
