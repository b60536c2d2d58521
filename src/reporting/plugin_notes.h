// The console notes of the plug-in tables: builds kept or moved by the
// preference options, the Kontakt put in place, multi-mono and unreadable inserts.
#pragma once

struct MatchReport;

// --prefer-vst2 and Kontakt, among the notes of the switches.
void sayPluginSwitchNotes(const MatchReport& report);
// --prefer-clap, among the format notes.
void sayPreferClapNotes(const MatchReport& report);
// Unlinked multi-mono instances and records that could not be read, closing the plug-in notes.
void sayPluginInstanceWarnings(const MatchReport& report);
