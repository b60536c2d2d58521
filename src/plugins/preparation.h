// The plug-in tables of one run, made ready before the first track is written:
// learned rows, REAPER's lists, the matching pass, and the lists the notes tell.
#pragma once

#include <set>
#include <string>

#include "plugins/cache.h"
#include "plugins/matching.h"
#include "plugins/outcomes.h"
#include "plugins/parameter_lanes.h"
#include "plugins/table.h"
#include "standins/eq_fit.h"

struct ConvertOptions;
struct SessionModel;

struct PluginRun {
    PluginCache cache;
    PluginTables tables;
    MatchReport matches;
    ChainTallies tallies;
    EqFitRun eqFit;  // the EQ fits of the run, each distinct band fitted once
    ParameterNames parameterNames;        // trellum-params.tsv and the files of --params
    std::set<std::string> wantedPlugins;  // plug-ins whose lanes the tables could not place
    LaneCounts lanes;
};

// Reads trellum-plugins.txt, the parameter tables and REAPER's lists, matches every distinct key of
// the session's inserts, and prints what each step found. probe gives the state
// a row would carry, for --prefer-clap; without one no row moves to CLAP.
void preparePlugins(const ConvertOptions& options, const SessionModel& model, const StateProbe& probe,
                    PluginRun& run);

// The name of an insert in lists: the name the session stores, the row's, the
// stock name, else the signature key.
std::string listedName(const PluginInstance& instance, const SessionModel& model, const PluginTables& tables);
