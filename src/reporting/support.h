// Where users send a session the program does not understand.
#pragma once

constexpr const char* kSupportAddress = "support@trellum.org";
