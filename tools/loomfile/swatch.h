// Patches of colour on a terminal.
#pragma once

#include <string>

#include "commands.h"

// How many colours standard output shows.
enum class TerminalColours { none, palette256, all };

TerminalColours terminalColours(Colouring colouring);
// Blanks in a colour.
std::string swatch(TerminalColours colours, const u8* rgb);
