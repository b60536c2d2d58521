// --learn: a plug-in's REAPER identity read from a chain file REAPER saved
// with that one plug-in in it, kept in trellum-plugins.txt beside the program
// under the plug-in's AAX signature, where every later conversion finds it.
#pragma once

#include <string>

// Returns the exit code: 0 learned and written, 1 not. Says what it read.
int learnPlugin(const std::string& chainPath, const std::string& signature, const std::string& programPath);
