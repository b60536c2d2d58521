// The words of every refusal, in the long form for the console and the short
// form an application shows when it drives the program.
#pragma once

#include <cstdint>
#include <string>

void refuseNoSession();
void refuseMissingFile(const std::string& path, bool withProgress);
void refuseOlderFormat(const std::string& path, bool withProgress);
void refuseRate(const std::string& path, int64_t rate, bool withProgress);
void refuseEmptyFile(const std::string& path, bool withProgress);
// Any other failed load: the reason by code, then what decryption alone finds.
void refuseUnreadable(const std::string& path, int code, bool withProgress);
// A failed load of bytes already in memory: the rate, or the reason by code.
void refuseUnreadableBytes(const std::string& path, int code, int64_t rate);
// Memory ran out somewhere in the run.
void refuseOutOfMemory(const std::string& path, bool withProgress);

// An older session by name (.ptf, .pts) or by its first bytes.
bool isOlderSession(const std::string& path);
