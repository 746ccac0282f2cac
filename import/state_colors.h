// The colours in which the visualiser shows states.
#pragma once

#include <string>
#include <utility>

// Fills the table of well-known states. Call it before getColor; further calls change nothing.
void createStateColorMap();

// Returns the two colour texts of a state: of its own row, or else of the first row in byte order whose name
// contains the state's without regard to case, or else two random colours (six draws from rand()). A text is
// "#rrggbb" or "r,g,b" in decimal. Never fails, and stores nothing.
std::pair<std::string, std::string> getColor(const std::string& stateName);
