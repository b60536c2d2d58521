// The console notes of the plug-in tables: builds kept or moved by the
// preference options, the Kontakt put in place, multi-mono and unreadable inserts.
#pragma once

#include <vector>

struct ChainTallies;
struct MatchReport;
struct PluginOutcome;

// --prefer-vst2 and Kontakt, among the notes of the switches.
void sayPluginSwitchNotes(const MatchReport& report);
// --prefer-clap, among the format notes.
void sayPreferClapNotes(const MatchReport& report);
// Bypassed, master and inactive inserts carried, among the routing notes.
void sayPluginsInBrief(const ChainTallies& tallies);
// MIDI triggering switched off on plug-ins of MIDI tracks.
void sayMidiTriggerNotes(const ChainTallies& tallies);
// What became of the inserts that were not written with their settings, by plug-in.
void sayPluginOutcomeNotes(const ChainTallies& tallies, const std::vector<PluginOutcome>& outcomes);
// Unlinked multi-mono instances and records that could not be read, closing the plug-in notes.
void sayPluginInstanceWarnings(const MatchReport& report);
