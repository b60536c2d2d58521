#include <string>
#include <vector>

#include "cli/entry.h"

int main(int argc, char** argv) {
    std::vector<std::string> args(argv, argv + argc);
    return runEntry(args);
}
