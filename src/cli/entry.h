// The program's entry: scans the arguments, picks the one job and runs it.
#pragma once

#include <string>
#include <vector>

// Runs the whole program for an argument vector (the first element is the
// program's own path) and gives the exit code.
int runEntry(const std::vector<std::string>& args);
