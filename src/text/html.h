// text/html.h
//
// Text made fit for the cells of an HTML table.
#pragma once

#include <string>

// The HTML form of a text: escapes, <br> for line ends, links for addresses.
std::string html_value(const char* text);
