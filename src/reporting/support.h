// The program's version and the addresses its words name.
#pragma once

constexpr const char* kProgramVersion = "1.0.1";
constexpr const char* kProgramBuild = "287";
// Where users send a session the program does not understand.
constexpr const char* kSupportAddress = "support@trellum.org";
// What the usage summaries hold and who receives them.
constexpr const char* kPrivacyAddress = "https://trellum.org/privacy";
