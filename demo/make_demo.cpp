// Writes the demo session of the README: Demo.ptx, laid out byte by byte by the
// session builder of the tests, and the tones it plays in "Audio Files", so that
// a fresh build has something real to convert.
//   trellum_make_demo FOLDER
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/session_builder.h"

namespace {

constexpr int kRate = 48000;
constexpr uint32_t kBeat = kRate / 2;  // 120 BPM
const double kPi = std::acos(-1.0);

void putLittle(std::string& bytes, uint32_t value, int width) {
    for (int k = 0; k < width; ++k) bytes.push_back(static_cast<char>((value >> (8 * k)) & 0xFF));
}

// A mono 16-bit PCM WAVE file.
bool writeWave(const std::string& path, const std::vector<double>& samples) {
    const uint32_t dataBytes = static_cast<uint32_t>(samples.size() * 2);
    std::string bytes = "RIFF";
    putLittle(bytes, 36 + dataBytes, 4);
    bytes += "WAVEfmt ";
    putLittle(bytes, 16, 4);
    putLittle(bytes, 1, 2);  // PCM
    putLittle(bytes, 1, 2);  // one channel
    putLittle(bytes, kRate, 4);
    putLittle(bytes, kRate * 2, 4);
    putLittle(bytes, 2, 2);
    putLittle(bytes, 16, 2);
    bytes += "data";
    putLittle(bytes, dataBytes, 4);
    for (double sample : samples) {
        const double clipped = sample > 1 ? 1 : sample < -1 ? -1 : sample;
        putLittle(bytes, static_cast<uint16_t>(static_cast<int16_t>(std::lround(clipped * 32767))), 2);
    }
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out);
}

// A kick: a sine falling from 150 to 50 Hz under a fast decay.
std::vector<double> kick() {
    std::vector<double> samples(kRate * 3 / 10);
    double phase = 0;
    for (size_t n = 0; n < samples.size(); ++n) {
        const double t = static_cast<double>(n) / kRate;
        phase += 2 * kPi * (50 + 100 * std::exp(-t * 30)) / kRate;
        samples[n] = 0.9 * std::exp(-t * 9) * std::sin(phase);
    }
    return samples;
}

// Chords of `seconds` each, one after the other, with a soft attack and decay.
std::vector<double> notes(const std::vector<std::vector<double>>& chords, int seconds, double level) {
    std::vector<double> samples;
    for (const std::vector<double>& chord : chords) {
        for (int n = 0; n < seconds * kRate; ++n) {
            const double t = static_cast<double>(n) / kRate;
            const double envelope = std::min(1.0, t * 50 / seconds) * std::exp(-t * 1.5 / seconds);
            double sum = 0;
            for (double hz : chord) sum += std::sin(2 * kPi * hz * t) + 0.3 * std::sin(4 * kPi * hz * t);
            samples.push_back(level * envelope * sum / static_cast<double>(chord.size()));
        }
    }
    return samples;
}

BuiltSession demoSession() {
    BuiltSession s;
    s.rate = kRate;
    s.files = {{"Kick.wav", kRate * 3 / 10}, {"Bass.wav", 2 * kRate}, {"Pad.L.wav", 4 * kRate}, {"Pad.R.wav", 4 * kRate}};
    s.clips = {{"Kick", 0, 0, kRate * 3 / 10},
               {"Bass A", 1, 0, kRate},
               {"Bass D", 1, kRate, kRate},
               {"Pad.L", 2, 0, 4 * kRate},
               {"Pad.R", 3, 0, 4 * kRate}};
    s.paths = {{"Out 1-2", 1, {1, 2}, 5}};

    BuiltTrack kick{"Kick", -30, 0, 0, false, {{"", false, {}}}, 1};
    for (uint32_t beat = 0; beat < 8; ++beat) kick.playlists[0].placements.push_back({0, beat * kBeat});
    BuiltTrack bass{"Bass", -60, -20, 0, false, {{"", false, {{1, 0}, {2, 2 * kBeat}, {1, 4 * kBeat}, {2, 6 * kBeat}}}}, 1};
    BuiltTrack pad{"Pad", -90, -100, 100, false, {{"", false, {{3, 0}}}, {"", false, {{4, 0}}}}, 2};
    for (BuiltTrack* track : {&kick, &bass, &pad}) track->output = "Out 1-2";
    s.tracks = {kick, bass, pad};
    return s;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: trellum_make_demo FOLDER\n");
        return 2;
    }
    const std::string folder = argv[1];
    std::error_code error;
    std::filesystem::create_directories(folder + "/Audio Files", error);
    const std::string media = folder + "/Audio Files/";
    const bool written = writeWave(media + "Kick.wav", kick()) &&
                         writeWave(media + "Bass.wav", notes({{55.0}, {73.42}}, 1, 0.7)) &&
                         writeWave(media + "Pad.L.wav", notes({{220.0, 277.18, 329.63}}, 4, 0.4)) &&
                         writeWave(media + "Pad.R.wav", notes({{220.5, 277.7, 330.2}}, 4, 0.4));
    if (error || !written || buildSession(demoSession()).writeFile(folder, "Demo.ptx").empty()) {
        std::fprintf(stderr, "trellum_make_demo: could not write the demo session into %s\n", folder.c_str());
        return 1;
    }
    return 0;
}
