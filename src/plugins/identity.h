// The names of a plug-in on both sides: the session's 8-byte signature (maker
// code, product code) and the display name and identity text REAPER uses for a
// VST2, VST3 or CLAP build. Pure functions; none of them touches a file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct PluginCacheEntry;
struct PluginInstance;

// The key every lookup and tally goes through: the signature, or for a Waves
// shell instance (form 9 with a 4-byte sub-component) the signature and that code.
std::string signatureKey(const PluginInstance& instance);
// Makers whose plug-ins have no build for another host: "Digi", "AVID", "Avid", "BFD ", "TrLn".
bool isAvidFamily(const std::string& signature);
// The fixed name of an Avid stock processor; empty for any other key.
std::string stockName(const std::string& key);
// Signature bytes 4-7 read big-endian, the form a VST2 id takes; 0 for a short signature.
uint32_t productNumber(const std::string& signature);
// The 4 bytes of a VST2 id, most significant first.
std::string codeOfNumber(uint32_t number);

// "VST", the id, the first nine bytes of the short name lowered, zero-padded: 32 uppercase hex digits.
std::string compatId(uint32_t vstId, const std::string& shortName);
// Pairs of digits to bytes; an odd last digit is dropped.
std::vector<uint8_t> hexToBytes(const std::string& hex);

// The text that names the build in a <VST or <CLAP line.
std::string identityText(const PluginCacheEntry& entry);
// "VST: ReaEQ (Cockos)": kind word, "i" for an instrument, ": ", the name column.
std::string displayName(const PluginCacheEntry& entry);
// The name up to its last " (".
std::string shortNameOf(const std::string& name);
// The maker group of a display name, past any channel group ("(16 out)", "(6ch)"); empty for none.
std::string makerOfDisplay(const std::string& display);

// Lowered, letters and digits only: the form every name comparison is made on.
std::string compareKey(const std::string& text);
// The name with every trailing " (...)" group cut off.
std::string withoutTrailingGroups(const std::string& name);
// The compare key of the text between the last "(" and the last ")".
std::string makerKey(const std::string& name);
// The compare key of a file's base name without its last extension.
std::string fileStemKey(const std::string& file);
// Each "_" REAPER's list wrote for a character of the short name gets that character back.
std::string repairFileName(const std::string& file, const std::string& shortName);
// At most 64 bytes safe for any reader; "(unnamed)" when nothing is left.
std::string reportName(const std::string& name);

// The FXID of a slot, derived from a seed (the record's offset for a plug-in slot).
std::string fxGuid(uint32_t seed);
// A stable identity for a slot REAPER cannot load: "%u{%s}" from the key's hash.
std::string aaxOnlyIdentity(const std::string& key);
