// commands/run.cpp
#include "commands/run.h"

void die(std::string_view message, std::string_view path) {
    std::string text(message);
    text += ' ';
    text += path;
    throw Fatal{std::move(text)};
}
