#include "session/ptx_file.h"
// Placeholder until the session file layer lands.
int loadSession(SessionFile&, const std::string&, int64_t) { return -1; }
bool unxorSession(SessionFile&, const std::string&) { return false; }
bool applySessionCipher(std::vector<uint8_t>&) { return false; }
