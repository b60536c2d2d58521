// The words of every refusal, in the long form for the console and the short
// form an application shows when it drives the program.
#pragma once

#include <cstdint>
#include <string>

void refuseNoSession();
// quoteHint: the name reached the program split over several arguments.
void refuseMissingFile(const std::string& path, bool withProgress, bool quoteHint);
// A file that is there but does not open, with the system's reason.
void refuseUnopenable(const std::string& path, const std::string& reason, bool withProgress);
void refuseFolder(const std::string& path, bool withProgress);
// The project would go over the session, or under a session's name.
void refuseOutputPath(const std::string& sessionPath, const std::string& outputPath, bool isSession,
                      bool withProgress);
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
