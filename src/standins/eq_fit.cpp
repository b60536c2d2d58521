#include "standins/eq_fit.h"

#include <algorithm>
#include <cmath>
#include <atomic>
#include <complex>
#include <thread>

#include "project/text.h"

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kLn10 = 2.302585092994046;
constexpr double kSubBandQ = 0.70710678;
constexpr double kNotchQFactor = 1.5538;

// ---- The measured Q map of EQ3's bell ----

const double kMapQ[] = {0.1, 0.15, 0.2, 0.25, 0.3, 0.5, 1, 2, 4, 4.5, 5, 5.5, 6, 6.5, 7, 7.5, 8, 8.5, 9, 9.5, 10};
constexpr int kMapRows = 21;
constexpr int kMapColumns = 18;  // 1 dB to 18 dB
const double kMapFactor[kMapRows][kMapColumns] = {
    {0.98847, 0.99869, 0.988, 0.99875, 0.99217, 0.99883, 0.99404, 0.99877, 0.99506, 0.99879, 0.99554, 0.99877, 0.99582, 0.99872, 0.99601, 0.99873, 0.99617, 0.9987},
    {0.98224, 0.98619, 0.97793, 0.98579, 0.98051, 0.98533, 0.81478, 0.66613, 0.66337, 0.66586, 0.66369, 0.66585, 0.66388, 0.66581, 0.664, 0.66582, 0.66411, 0.6658},
    {0.99235, 0.99216, 0.98567, 0.99194, 0.98764, 0.99174, 0.81252, 0.66011, 0.61686, 0.58139, 0.53756, 0.50172, 0.49791, 0.49936, 0.498, 0.49936, 0.49808, 0.49935},
    {0.9868, 0.98451, 0.97876, 0.98397, 0.98008, 0.9835, 0.81804, 0.65233, 0.61565, 0.58565, 0.54437, 0.49316, 0.45833, 0.42955, 0.40695, 0.39949, 0.39847, 0.39948},
    {0.98515, 0.9805, 0.97574, 0.98025, 0.9768, 0.97993, 0.8172, 0.66128, 0.62468, 0.58329, 0.53448, 0.49458, 0.46663, 0.43055, 0.40098, 0.37639, 0.35756, 0.34193},
    {0.99937, 0.98993, 0.9865, 0.98981, 0.98711, 0.9896, 0.81431, 0.65219, 0.61406, 0.58234, 0.54406, 0.49459, 0.45774, 0.42729, 0.40418, 0.38423, 0.35846, 0.33695},
    {1.01424, 1.00057, 0.99759, 0.99993, 0.99788, 0.99991, 0.8113, 0.65435, 0.61386, 0.58001, 0.54022, 0.49834, 0.4587, 0.42613, 0.40202, 0.3818, 0.36162, 0.33809},
    {1.0086, 0.99104, 0.98903, 0.99101, 0.98914, 0.99159, 0.81026, 0.65842, 0.61487, 0.57902, 0.53703, 0.50214, 0.46119, 0.426, 0.40051, 0.37911, 0.363, 0.34051},
    {1.00239, 0.98364, 0.98305, 0.98363, 0.98189, 0.98361, 0.81134, 0.66602, 0.61813, 0.57928, 0.53434, 0.49775, 0.46488, 0.4269, 0.39949, 0.37678, 0.35991, 0.34418},
    {0.99318, 0.97513, 0.97199, 0.97363, 0.97189, 0.97454, 0.83056, 0.65195, 0.62128, 0.59349, 0.53569, 0.48987, 0.45991, 0.4351, 0.40494, 0.37585, 0.35507, 0.33753},
    {1.00741, 0.98995, 0.9866, 0.98827, 0.98655, 0.98825, 0.8133, 0.65089, 0.61289, 0.58183, 0.54472, 0.49369, 0.45693, 0.4266, 0.40419, 0.38453, 0.35824, 0.33638},
    {1.00484, 0.98558, 0.98389, 0.98562, 0.98474, 0.98559, 0.829, 0.69435, 0.66255, 0.62314, 0.5776, 0.5399, 0.51361, 0.49204, 0.46368, 0.43647, 0.41696, 0.39977},
    {0.99426, 0.97449, 0.97272, 0.97553, 0.97264, 0.9743, 0.86507, 0.7149, 0.68629, 0.66311, 0.63302, 0.59608, 0.56361, 0.53592, 0.51435, 0.4961, 0.48108, 0.46888},
    {0.9957, 0.97734, 0.97522, 0.97676, 0.97417, 0.97587, 0.86375, 0.75725, 0.72598, 0.69816, 0.66463, 0.63681, 0.61534, 0.59774, 0.58285, 0.5683, 0.54901, 0.53262},
    {1.01046, 0.99042, 0.98964, 0.99129, 0.98875, 0.99133, 0.87492, 0.78597, 0.76798, 0.75191, 0.7239, 0.69109, 0.66683, 0.64624, 0.62846, 0.61483, 0.60191, 0.59259},
    {1.00929, 0.98956, 0.9879, 0.98958, 0.98779, 0.9895, 0.90198, 0.81226, 0.79232, 0.77666, 0.75568, 0.73734, 0.72337, 0.7117, 0.70084, 0.69239, 0.6787, 0.66625},
    {0.9981, 0.97813, 0.97641, 0.97814, 0.97646, 0.97816, 0.92388, 0.85681, 0.83674, 0.82094, 0.79976, 0.78082, 0.76595, 0.75411, 0.74321, 0.73514, 0.72577, 0.71981},
    {0.9937, 0.97361, 0.97297, 0.97363, 0.97342, 0.9735, 0.92667, 0.88692, 0.87687, 0.86994, 0.85823, 0.85036, 0.83806, 0.82624, 0.81393, 0.80563, 0.79654, 0.79052},
    {0.99582, 0.97566, 0.97398, 0.97684, 0.97502, 0.97554, 0.94074, 0.90994, 0.90076, 0.8965, 0.88651, 0.87949, 0.87229, 0.86893, 0.86226, 0.86023, 0.85537, 0.85277},
    {1.00396, 0.98422, 0.98256, 0.98423, 0.98258, 0.98528, 0.96275, 0.94678, 0.93972, 0.93725, 0.93149, 0.92728, 0.9231, 0.92106, 0.91643, 0.91469, 0.91195, 0.91048},
    {1.01993, 0.99998, 0.9982, 1.00175, 0.99827, 0.99996, 0.99914, 0.99997, 0.99906, 0.99997, 0.9983, 1.0008, 0.99919, 1.00058, 0.99825, 1.0008, 0.99829, 0.99992},
};

// ---- Curves ----

double decibels(double magnitudeSquared) { return 10.0 * std::log10(std::max(magnitudeSquared, 1e-24)); }

// The stage Qs of a pass filter of this order (the first-order stage apart).
std::vector<double> stageQs(int order) {
    switch (order) {
    case 2: return {kSubBandQ};
    case 3: return {1.0};
    case 4: return {0.5411961, 1.30656296};
    default: return {};
    }
}

// The analogue curve EQ3 draws, as power (|H|^2) at f; a is 10^(gain / 40)
// and qs the stage Qs of a pass filter.
double targetPower(const EqBandPlan& plan, double a, const std::vector<double>& qs, double f) {
    using Complex = std::complex<double>;
    const double x = f / plan.frequency;
    const Complex s(0.0, x);
    Complex response(1.0, 0.0);
    switch (plan.kind) {
    case 0:
        response = Complex(1 - x * x, x * a / plan.q) / Complex(1 - x * x, x / (a * plan.q));
        break;
    case 1: {
        const double k = std::sqrt(a) / plan.q;
        response = plan.highSide ? a * (a * s * s + k * s + 1.0) / (s * s + k * s + a)
                                 : a * (s * s + k * s + a) / (a * s * s + k * s + 1.0);
        break;
    }
    case 2: {
        const double y = plan.highSide ? plan.frequency / f : x;
        for (double q : qs) response /= Complex(1 - y * y, y / q);
        if (plan.order % 2 == 1) response /= Complex(1.0, y);
        break;
    }
    default: {
        const Complex notch = Complex(1 - x * x, 0.0) / Complex(1 - x * x, x / plan.q);
        response = notch * notch;
        break;
    }
    }
    return std::norm(response);
}

// |H|^2 of one biquad at a point is (n0 + n1 cos w + n2 cos 2w) / (d0 + d1 cos w + d2 cos 2w).
struct PowerTerms {
    double n0, n1, n2, d0, d1, d2;
};

PowerTerms powerTerms(const EqSubBand& band, double sampleRate) {
    const double w = 2.0 * kPi * band.frequency / sampleRate;
    const double cw = std::cos(w);
    const double alpha = std::sin(w) / (2.0 * band.q);
    const double a = std::exp(band.gainDb * (kLn10 / 40.0));
    double b0, b1, b2, a0, a1, a2;
    switch (band.type) {
    case 8:
        b0 = 1 + alpha * a; b1 = -2 * cw; b2 = 1 - alpha * a;
        a0 = 1 + alpha / a; a1 = -2 * cw; a2 = 1 - alpha / a;
        break;
    case 0: {
        const double r = 2 * std::sqrt(a) * alpha;
        b0 = a * ((a + 1) - (a - 1) * cw + r); b1 = 2 * a * ((a - 1) - (a + 1) * cw); b2 = a * ((a + 1) - (a - 1) * cw - r);
        a0 = (a + 1) + (a - 1) * cw + r; a1 = -2 * ((a - 1) + (a + 1) * cw); a2 = (a + 1) + (a - 1) * cw - r;
        break;
    }
    case 1: {
        const double r = 2 * std::sqrt(a) * alpha;
        b0 = a * ((a + 1) + (a - 1) * cw + r); b1 = -2 * a * ((a - 1) + (a + 1) * cw); b2 = a * ((a + 1) + (a - 1) * cw - r);
        a0 = (a + 1) - (a - 1) * cw + r; a1 = 2 * ((a - 1) - (a + 1) * cw); a2 = (a + 1) - (a - 1) * cw - r;
        break;
    }
    case 3:
        b0 = (1 - cw) / 2; b1 = 1 - cw; b2 = (1 - cw) / 2;
        a0 = 1 + alpha; a1 = -2 * cw; a2 = 1 - alpha;
        break;
    case 4:
        b0 = (1 + cw) / 2; b1 = -(1 + cw); b2 = (1 + cw) / 2;
        a0 = 1 + alpha; a1 = -2 * cw; a2 = 1 - alpha;
        break;
    default:
        b0 = 1; b1 = -2 * cw; b2 = 1;
        a0 = 1 + alpha; a1 = -2 * cw; a2 = 1 - alpha;
        break;
    }
    return {b0 * b0 + b1 * b1 + b2 * b2, 2 * (b0 * b1 + b1 * b2), 2 * b0 * b2,
            a0 * a0 + a1 * a1 + a2 * a2, 2 * (a0 * a1 + a1 * a2), 2 * a0 * a2};
}

// |H|^2 of the JS first-order filter at w (radians per sample).
double firstOrderPower(double f1, bool highPass, double sampleRate, double w) {
    const double w1 = 2.0 * kPi * f1;
    const double c = 1.0 / (w1 + 3.0 * sampleRate);
    const double p = (3.0 * sampleRate - w1) * c;
    const double g = 2.0 * w1 * c;
    const double denominator = 1.0 - 2.0 * p * std::cos(w) + p * p;
    if (!highPass) return g * g / denominator;
    const double h = 1.0 - g;
    return (h * h - 2.0 * h * p * std::cos(w) + p * p) / denominator;
}

// Points of a grid measured by one rule, as arrays: the cosines, the fixed
// first-order part and the target as power or amplitude.
struct PointSet {
    std::vector<double> cos1, cos2, fixedPower, target, inverseTarget;
    mutable std::vector<double> power, denominator;  // the model's, filled by each measure

    void add(double w, double fixed, double targetValue) {
        cos1.push_back(std::cos(w));
        cos2.push_back(std::cos(2.0 * w));
        fixedPower.push_back(fixed);
        target.push_back(targetValue);
        inverseTarget.push_back(1.0 / targetValue);
        power.push_back(0.0);
        denominator.push_back(0.0);
    }
    size_t size() const { return target.size(); }
};

// The points of one grid by their rule: in dB where the target is at -20 dB or
// above, in amplitude below that, only held down above the top; a target below
// -50 dB is left out.
struct RuleSets {
    PointSet decibels, amplitude, heldDown;
    size_t size() const { return decibels.size() + amplitude.size() + heldDown.size(); }
};

// Three grids: the fit's (1/24 octave, finer across narrow bands) for the
// worst measure; every second point of it up to the top for the smooth measure;
// and a fine one (1/128 octave, finer still across narrow bands) that tells the
// fit's true distance, which narrow bands can hide between the fit's points.
struct FitGrid {
    RuleSets all, smooth, fine;
};

// Octaves between the half-gain points of a bell of this Q.
double bandwidthOctaves(double q) { return 2.0 / std::log(2.0) * std::asinh(1.0 / (2.0 * q)); }

// Frequencies from 20 Hz to the top at perOctave steps and the top itself; then
// steps of a bandwidth / perBandwidth across three bandwidths either side of
// each bell narrower than a third of an octave; sorted.
std::vector<double> gridFrequencies(const EqBandPlan& plan, double top, double perOctave, double perBandwidth) {
    std::vector<double> frequencies;
    for (int i = 0;; ++i) {
        const double f = 20.0 * std::exp2(i / perOctave);
        if (f > top * (1.0 - 1e-9)) break;
        frequencies.push_back(f);
    }
    frequencies.push_back(top);
    std::vector<std::pair<double, double>> narrow;  // frequency, Q
    if (plan.kind == 0) narrow.push_back({plan.frequency, plan.q});
    for (const EqSubBand& band : plan.subBands) {
        if (band.type == 8) narrow.push_back({band.frequency, band.q});
    }
    for (const auto& [centre, q] : narrow) {
        const double octaves = bandwidthOctaves(q);
        if (octaves > 1.0 / 3.0) continue;
        const double step = octaves / perBandwidth;
        for (double at = -3.0 * octaves; at <= 3.0 * octaves; at += step) {
            const double f = centre * std::exp2(at);
            if (f >= 20.0 && f < top) frequencies.push_back(f);
        }
    }
    std::sort(frequencies.begin(), frequencies.end());
    return frequencies;
}

// Every stride-th of the frequencies, and `above` points between the top and
// 0.48 of the rate, each in the set of its rule.
void addPoints(RuleSets& sets, const EqBandPlan& plan, double sampleRate, const std::vector<double>& frequencies,
               size_t stride, int above) {
    const double top = std::min(0.46 * sampleRate, 20000.0);
    std::vector<std::pair<double, bool>> points;  // frequency, above the top
    for (size_t i = 0; i < frequencies.size(); i += stride) points.push_back({frequencies[i], false});
    for (int i = 1; i <= above; ++i) {
        const double f = top + i * (0.48 * sampleRate - top) / above;
        if (f > top + 1.0) points.push_back({f, true});
    }
    const double a = std::pow(10.0, plan.gainDb / 40.0);
    const std::vector<double> qs = stageQs(plan.order);
    for (const auto& [f, held] : points) {
        const double w = 2.0 * kPi * f / sampleRate;
        const double t = std::max(targetPower(plan, a, qs, f), 1e-24);
        if (t < 1e-5) continue;  // below -50 dB
        const double fixed = plan.firstOrderFrequency > 0
                                 ? firstOrderPower(plan.firstOrderFrequency, plan.highSide, sampleRate, w)
                                 : 1.0;
        if (held)
            sets.heldDown.add(w, fixed, t);
        else if (t >= 1e-2)  // -20 dB
            sets.decibels.add(w, fixed, t);
        else
            sets.amplitude.add(w, fixed, std::sqrt(t));
    }
}

FitGrid makeGrid(const EqBandPlan& plan, double sampleRate) {
    FitGrid grid;
    const double top = std::min(0.46 * sampleRate, 20000.0);
    const std::vector<double> frequencies = gridFrequencies(plan, top, 24.0, 8.0);
    addPoints(grid.all, plan, sampleRate, frequencies, 1, 8);
    addPoints(grid.smooth, plan, sampleRate, frequencies, 2, 8);
    addPoints(grid.fine, plan, sampleRate, gridFrequencies(plan, top, 128.0, 32.0), 1, 32);
    return grid;
}

// Worst: the largest distance on the fit's grid; Smooth: a power mean of the
// distances on its coarse grid; True: the largest distance on the fine grid.
enum class Measure { Worst, Smooth, True };

// Sub-bands a fit moves at most: a split shelf's three and three added.
constexpr size_t kMostSubBands = 8;

// Fills the set's model power as numerator and denominator, band by band,
// over plain arrays, so that the loops vectorise; the measures divide once a point.
void modelPower(const PointSet& set, const PowerTerms* terms, size_t count) {
    const size_t n = set.size();
    double* power = set.power.data();
    double* denominator = set.denominator.data();
    const double* c1 = set.cos1.data();
    const double* c2 = set.cos2.data();
    for (size_t i = 0; i < n; ++i) power[i] = set.fixedPower[i], denominator[i] = 1.0;
    for (size_t k = 0; k < count; ++k) {
        const PowerTerms& p = terms[k];
        for (size_t i = 0; i < n; ++i) {
            power[i] *= p.n0 + p.n1 * c1[i] + p.n2 * c2[i];
            denominator[i] *= p.d0 + p.d1 * c1[i] + p.d2 * c2[i];
        }
    }
}

double measure(const std::vector<EqSubBand>& bands, double sampleRate, const FitGrid& grid, Measure kind) {
    PowerTerms terms[kMostSubBands];
    const size_t count = std::min(bands.size(), kMostSubBands);
    for (size_t k = 0; k < count; ++k) terms[k] = powerTerms(bands[k], sampleRate);
    const RuleSets& sets = kind == Measure::Smooth ? grid.smooth : kind == Measure::True ? grid.fine : grid.all;
    for (const PointSet* set : {&sets.decibels, &sets.amplitude, &sets.heldDown}) modelPower(*set, terms, count);
    const PointSet& db = sets.decibels;
    const PointSet& amplitude = sets.amplitude;
    const PointSet& held = sets.heldDown;
    // The model's power, floored at 1e-12 in amplitude.
    const auto powerAt = [](const PointSet& set, size_t i) {
        return std::max(set.power[i] / set.denominator[i], 1e-24);
    };
    if (kind == Measure::Smooth) {
        // The smooth measure only steers the coarse run: the logarithm of the
        // ratio r of model to target by the first terms of its series in
        // u = (r - 1) / (r + 1), exact to 0.2% for ratios from 1/2 to 2 and
        // rising with the ratio beyond, is enough.
        const auto quickDecibels = [](const PointSet& set, size_t i) {
            const double model = set.power[i], target = set.denominator[i] * set.target[i];
            const double u = (model - target) / (model + target);
            const double u2 = u * u;
            return 8.685889638065036 * u * (1.0 + u2 * (1.0 / 3.0 + u2 * 0.2));
        };
        const auto eighth = [](double e) {
            const double e2 = e * e;
            const double e4 = e2 * e2;
            return e4 * e4;
        };
        if (sets.size() == 0) return 0.0;
        double sum = 0.0;
        for (size_t i = 0; i < db.size(); ++i) sum += eighth(quickDecibels(db, i));
        for (size_t i = 0; i < amplitude.size(); ++i)
            sum += eighth(25.0 * std::fabs(amplitude.target[i] - std::sqrt(powerAt(amplitude, i))));
        for (size_t i = 0; i < held.size(); ++i) sum += eighth(std::max(0.0, quickDecibels(held, i) - 3.0));
        return std::pow(sum / double(sets.size()), 1.0 / 8.0);
    }
    // The worst distance in dB is the dB of the worst power ratio: one logarithm
    // at the end instead of one a point.
    double lowest = 1.0, highest = 1.0, worstAmplitude = 0.0, heldDown = 0.0;
    for (size_t i = 0; i < db.size(); ++i) {
        const double r = powerAt(db, i) * db.inverseTarget[i];
        lowest = std::min(lowest, r);
        highest = std::max(highest, r);
    }
    for (size_t i = 0; i < amplitude.size(); ++i)
        worstAmplitude = std::max(worstAmplitude, std::fabs(amplitude.target[i] - std::sqrt(powerAt(amplitude, i))));
    for (size_t i = 0; i < held.size(); ++i) heldDown = std::max(heldDown, powerAt(held, i) * held.inverseTarget[i]);
    double worst = std::max(decibels(std::max(highest, 1.0 / lowest)), 25.0 * worstAmplitude);
    if (heldDown > 0.0) worst = std::max(worst, decibels(heldDown) - 3.0);
    return worst;
}

// ---- Limits and the simplex ----

bool isPass(uint32_t type) { return type == 3 || type == 4; }
bool movesGain(uint32_t type) { return type == 8 || type == 0 || type == 1; }

struct FitBand {
    EqSubBand start;
    bool limited = true;  // false for a band the fit added or one marked free
};

// The bands of a point of the simplex, into `bands` (which keeps its room
// from one call to the next).
void bandsInto(std::vector<EqSubBand>& bands, const std::vector<double>& point, const std::vector<FitBand>& fitBands,
               double sampleRate) {
    bands.clear();
    for (size_t k = 0; k < fitBands.size(); ++k) {
        const EqSubBand& start = fitBands[k].start;
        EqSubBand band = start;
        band.frequency = std::clamp(std::exp(point[3 * k]), 10.0, 0.48 * sampleRate);
        band.gainDb = point[3 * k + 1];
        band.q = std::exp(point[3 * k + 2]);
        const double qTop = isPass(band.type) ? 2.0 : 30.0;
        if (!std::isfinite(band.gainDb)) band.gainDb = start.gainDb;
        if (!std::isfinite(band.q)) band.q = start.q;
        band.q = std::clamp(band.q, 0.02, qTop);
        if (fitBands[k].limited) {
            const bool highPass = isPass(band.type) && start.frequency > 0.2 * sampleRate;
            band.frequency = std::clamp(band.frequency, 0.8 * start.frequency, (highPass ? 1.8 : 1.25) * start.frequency);
            band.gainDb = movesGain(band.type) ? std::clamp(band.gainDb, start.gainDb - 3.0, start.gainDb + 3.0)
                                               : start.gainDb;
            band.q = std::clamp(band.q, (highPass ? 0.3 : 0.5) * start.q, (highPass ? 3.0 : 2.0) * start.q);
        } else {
            band.gainDb = movesGain(band.type) ? std::clamp(band.gainDb, -12.0, 12.0) : start.gainDb;
        }
        if (band.type == 0 || band.type == 1) band.q = std::min(band.q, shelfMaxQ(band.gainDb));
        bands.push_back(band);
    }
}

std::vector<EqSubBand> bandsOf(const std::vector<double>& point, const std::vector<FitBand>& fitBands,
                               double sampleRate) {
    std::vector<EqSubBand> bands;
    bandsInto(bands, point, fitBands, sampleRate);
    return bands;
}

std::vector<double> pointOf(const std::vector<EqSubBand>& bands) {
    std::vector<double> point;
    for (const EqSubBand& band : bands) {
        point.push_back(std::log(band.frequency));
        point.push_back(band.gainDb);
        point.push_back(std::log(band.q));
    }
    return point;
}

struct Vertex {
    std::vector<double> point;
    double error;
};

// Distances the fit aims for on its own grid, a little inside the tolerance
// so that the fine grid confirms it; and the spread of errors at which a
// simplex has settled.
constexpr double kFitAim = 0.04;  // dB
constexpr double kSettled = 1e-5;  // dB
constexpr int kCheckEvery = 16;    // iterations of a smooth run between looks at the worst distance

struct SimplexEnd {
    std::vector<EqSubBand> bands;
    bool reached = false;  // the worst distance on the fit's grid is within kFitAim
};

// The Nelder-Mead method, for at most `iterations` iterations; it stops once the
// aim is reached or the simplex has settled.
SimplexEnd simplex(const std::vector<EqSubBand>& from, const std::vector<FitBand>& fitBands, double sampleRate,
                   const FitGrid& grid, Measure kind, double gainStep, double logStep, int iterations) {
    std::vector<EqSubBand> bands;
    const auto errorOf = [&](const std::vector<double>& point) {
        bandsInto(bands, point, fitBands, sampleRate);
        return measure(bands, sampleRate, grid, kind);
    };
    const std::vector<double> start = pointOf(from);
    const size_t n = start.size();
    std::vector<Vertex> vertices;
    vertices.push_back({start, errorOf(start)});
    for (size_t k = 0; k < n; ++k) {
        std::vector<double> point = start;
        point[k] += k % 3 == 1 ? gainStep : logStep;
        vertices.push_back({point, errorOf(point)});
    }
    const auto along = [&](const std::vector<double>& c, const std::vector<double>& w, double by) {
        std::vector<double> point(n);
        for (size_t k = 0; k < n; ++k) point[k] = c[k] + by * (c[k] - w[k]);
        return point;
    };
    bool reached = false;
    for (int iteration = 0; iteration < iterations; ++iteration) {
        // Sorted by error, equals in their order: an insertion sort, as the
        // vertices are few and mostly in order already.
        for (size_t v = 1; v < vertices.size(); ++v) {
            for (size_t u = v; u > 0 && vertices[u].error < vertices[u - 1].error; --u)
                std::swap(vertices[u], vertices[u - 1]);
        }
        const Vertex& best = vertices.front();
        if (kind == Measure::Worst) {
            reached = best.error <= kFitAim;
        } else if (iteration % kCheckEvery == kCheckEvery - 1) {
            bandsInto(bands, best.point, fitBands, sampleRate);
            reached = measure(bands, sampleRate, grid, Measure::Worst) <= kFitAim;
        }
        if (reached || vertices.back().error - best.error <= kSettled) break;
        std::vector<double> centroid(n, 0.0);
        for (size_t v = 0; v + 1 < vertices.size(); ++v) {
            for (size_t k = 0; k < n; ++k) centroid[k] += vertices[v].point[k];
        }
        for (double& c : centroid) c /= double(vertices.size() - 1);
        Vertex& worst = vertices.back();
        Vertex reflected{along(centroid, worst.point, 1.0), 0.0};
        reflected.error = errorOf(reflected.point);
        if (reflected.error < vertices.front().error) {
            Vertex expanded{along(centroid, worst.point, 2.0), 0.0};
            expanded.error = errorOf(expanded.point);
            worst = expanded.error < reflected.error ? std::move(expanded) : std::move(reflected);
        } else if (reflected.error >= vertices[vertices.size() - 2].error) {
            Vertex contracted{along(centroid, worst.point, -0.5), 0.0};
            contracted.error = errorOf(contracted.point);
            if (contracted.error < worst.error) {
                worst = std::move(contracted);
            } else {
                for (size_t v = 1; v < vertices.size(); ++v) {
                    for (size_t k = 0; k < n; ++k)
                        vertices[v].point[k] = vertices[0].point[k] + 0.5 * (vertices[v].point[k] - vertices[0].point[k]);
                    vertices[v].error = errorOf(vertices[v].point);
                }
            }
        } else {
            worst = std::move(reflected);
        }
    }
    size_t best = 0;
    for (size_t v = 1; v < vertices.size(); ++v) {
        if (vertices[v].error < vertices[best].error) best = v;
    }
    return {bandsOf(vertices[best].point, fitBands, sampleRate), reached};
}

// A coarse run on the smooth measure, then a fine one on the worst distance
// unless the first already reached the aim.
std::vector<EqSubBand> optimise(const std::vector<EqSubBand>& from, const std::vector<FitBand>& fitBands,
                                double sampleRate, const FitGrid& grid) {
    const int n = int(from.size());
    SimplexEnd smooth = simplex(from, fitBands, sampleRate, grid, Measure::Smooth, 1.0, 0.1, 400 + 150 * n);
    if (smooth.reached) return std::move(smooth.bands);
    return simplex(smooth.bands, fitBands, sampleRate, grid, Measure::Worst, 0.1, 0.01, 200 + 50 * n).bands;
}

// A closed-form start for a bell: the cookbook bell whose half-gain points
// fall where the analogue bell's do, so that the fit begins near its end. A
// bell whose upper point lies near the top of the range keeps its start.
EqSubBand warpedBell(const EqSubBand& band, double sampleRate) {
    const double half = 1.0 / (2.0 * band.q);
    const double upper = band.frequency * (std::sqrt(1.0 + half * half) + half);
    const double lower = band.frequency * (std::sqrt(1.0 + half * half) - half);
    if (upper >= 0.45 * sampleRate) return band;
    const double low = std::tan(kPi * lower / sampleRate), high = std::tan(kPi * upper / sampleRate);
    const double centre = std::sqrt(low * high);
    EqSubBand warped = band;
    warped.frequency = std::clamp(std::atan(centre) * sampleRate / kPi, 0.8 * band.frequency, 1.25 * band.frequency);
    warped.q = std::clamp(centre / (high - low), 0.5 * band.q, 2.0 * band.q);
    return warped;
}

std::string cacheKey(const EqBandPlan& plan, double sampleRate) {
    std::string key = std::to_string(plan.kind);
    for (double value : {plan.frequency, plan.gainDb, plan.q}) key += " " + generalText(value, 9);
    key += " " + std::to_string(plan.highSide ? 1 : 0) + " " + std::to_string(plan.order);
    for (double value : {plan.firstOrderFrequency, sampleRate}) key += " " + generalText(value, 9);
    key += " " + std::to_string(plan.subBands.size()) + " 00";
    return key;
}

// The band each pass of the fit tries, three candidates a pass.
struct Candidate {
    uint32_t type;
    double frequencyFactor;
    double gainDb;
    double q;
};

const Candidate kCandidates[3][3] = {
    {{1, 0.45, 0.0, 0.7}, {1, 0.40, 3.0, 0.7}, {1, 0.33, -3.0, 0.7}},
    {{8, 0.42, 0.0, 1.0}, {8, 0.38, 3.0, 1.0}, {8, 0.30, -3.0, 1.0}},
    {{8, 0.36, 0.0, 1.0}, {8, 0.30, 3.0, 1.0}, {8, 0.25, -3.0, 1.0}},
};

}  // namespace

double measuredBellQ(double q, double gainDb) {
    q = std::clamp(q, 0.1, 10.0);
    const double g = std::min(std::fabs(gainDb), 18.0);
    int i = 0;
    while (i < kMapRows - 2 && q >= kMapQ[i + 1]) ++i;
    const double t = (std::log(q) - std::log(kMapQ[i])) / (std::log(kMapQ[i + 1]) - std::log(kMapQ[i]));
    double factor;
    if (g <= 1.0) {
        factor = ((t * kMapFactor[i + 1][0] + (1 - t) * kMapFactor[i][0]) - 1.0) * g + 1.0;
    } else {
        int j = 0;  // column j holds j + 1 dB
        while (j < kMapColumns - 2 && g >= j + 2) ++j;
        const double u = (g - (j + 1)) / 1.0;
        factor = (1 - t) * (1 - u) * kMapFactor[i][j] + (1 - t) * u * kMapFactor[i][j + 1] +
                 t * (1 - u) * kMapFactor[i + 1][j] + t * u * kMapFactor[i + 1][j + 1];
    }
    return std::max(q * factor, 0.1);
}

double shelfMaxQ(double gainDb) {
    const double a = std::pow(10.0, gainDb / 40.0);
    return 0.9999 / std::sqrt(2.0 - (a + 1.0 / a) / 6.0);
}

double shelfWidth(double gainDb, double q) {
    const double a = std::pow(10.0, gainDb / 40.0);
    const double v = (1.0 / (q * q) - 2.0) / (1.0 / a + a) + 1.0;
    constexpr double kWidest = 0.9128709291752769;
    if (v <= 1e-9) return kWidest;
    const double u = 1.0 / v;
    return u > 1.2 ? kWidest : 1.0 / std::sqrt(u);
}

double bellWidth(double frequency, double q, double sampleRate) {
    const double w = std::min(2.0 * kPi * frequency / sampleRate, kPi / 2.0);
    const double b = 1.0 / (2.0 * q);
    return 2.8853900817779268 * std::log(b + std::sqrt(1.0 + b * b)) * std::sin(w) / w;
}

void planBand(EqBandPlan& plan, double sampleRate, bool allowSplit) {
    plan.subBands.clear();
    plan.firstOrderFrequency = 0.0;
    EqSubBand band;
    band.frequency = plan.frequency;
    switch (plan.kind) {
    case 1: {
        band.type = plan.highSide ? 1 : 0;
        band.gainDb = plan.gainDb;
        band.q = plan.q;
        const double maxQ = shelfMaxQ(plan.gainDb);
        if (plan.q <= maxQ) {
            plan.subBands.push_back(band);
        } else if (!allowSplit) {
            band.q = maxQ;
            plan.subBands.push_back(band);
        } else {
            band.q = maxQ;
            plan.subBands.push_back(band);
            const double a = std::sqrt(std::pow(10.0, plan.gainDb / 40.0));
            const double m = std::sqrt(maxQ * plan.q);
            EqSubBand first;
            first.gainDb = 20.0 * std::log10(maxQ / plan.q);
            first.q = m;
            first.frequency = plan.highSide ? plan.frequency / a : plan.frequency * a;
            EqSubBand second = first;
            second.gainDb = 20.0 * std::log10(plan.q / maxQ);
            second.frequency = plan.highSide ? plan.frequency * a : plan.frequency / a;
            plan.subBands.push_back(first);
            plan.subBands.push_back(second);
        }
        break;
    }
    case 2: {
        band.type = plan.highSide ? 4 : 3;
        if (plan.order % 2 == 1) {
            const double edge = std::min(0.49 * sampleRate, plan.frequency);
            double f1 = std::floor(std::tan(kPi * edge / sampleRate) * 3.0 * sampleRate / (2.0 * kPi) + 0.5);
            f1 = std::max(f1, 20.0);
            if (f1 <= 20000.0) {
                plan.firstOrderFrequency = f1;
            } else {
                EqSubBand shelf;
                shelf.type = plan.highSide ? 0 : 1;
                shelf.frequency = plan.frequency;
                shelf.gainDb = -12.0;
                shelf.q = 0.5;
                shelf.free = true;
                plan.subBands.push_back(shelf);
            }
        }
        for (double q : stageQs(plan.order)) {
            band.q = q;
            plan.subBands.push_back(band);
        }
        break;
    }
    case 3:
        band.type = 6;
        band.q = plan.q;
        plan.subBands.push_back(band);
        plan.subBands.push_back(band);
        break;
    default:
        band.type = 8;
        band.gainDb = plan.gainDb;
        band.q = plan.q;
        plan.subBands.push_back(band);
        break;
    }
}

void fitBand(EqBandPlan& plan, double sampleRate, EqFitRun& run) {
    const std::string key = cacheKey(plan, sampleRate);
    if (auto hit = run.cache.find(key); hit != run.cache.end()) {
        plan = hit->second;
        return;
    }
    const FitGrid grid = makeGrid(plan, sampleRate);
    plan.extraBands = 0;
    plan.fitted = false;
    plan.worstError = measure(plan.subBands, sampleRate, grid, Measure::True);
    if (plan.worstError <= kFitTolerance) {
        run.cache.emplace(key, plan);
        return;
    }
    plan.fitted = true;
    std::vector<FitBand> fitBands;
    for (const EqSubBand& band : plan.subBands) fitBands.push_back({band, !band.free});
    std::vector<EqSubBand> best = plan.subBands;
    double bestError = plan.worstError;
    {
        std::vector<EqSubBand> from = best;
        for (EqSubBand& band : from) {
            if (band.type == 8 && !band.free) band = warpedBell(band, sampleRate);
        }
        std::vector<EqSubBand> moved = optimise(from, fitBands, sampleRate, grid);
        const double error = measure(moved, sampleRate, grid, Measure::True);
        if (error < bestError) {
            best = std::move(moved);
            bestError = error;
        }
    }
    for (int pass = 0; pass < 3 && bestError > kFitTolerance; ++pass) {
        // The candidates are optimised in the order of their distance at the
        // start, until one is within the tolerance.
        struct Tried {
            std::vector<EqSubBand> bands;
            std::vector<FitBand> fitBands;
            double error;
        };
        std::vector<Tried> tried;
        for (const Candidate& candidate : kCandidates[pass]) {
            EqSubBand added;
            added.type = candidate.type;
            added.frequency = candidate.frequencyFactor * sampleRate;
            added.gainDb = candidate.gainDb;
            added.q = candidate.q;
            added.free = true;
            std::vector<EqSubBand> from = best;
            from.push_back(added);
            std::vector<FitBand> withAdded = fitBands;
            withAdded.push_back({added, false});
            const double error = measure(from, sampleRate, grid, Measure::True);
            tried.push_back({std::move(from), std::move(withAdded), error});
        }
        std::stable_sort(tried.begin(), tried.end(), [](const Tried& a, const Tried& b) { return a.error < b.error; });
        size_t winner = 0;
        for (size_t k = 0; k < tried.size() && tried[winner].error > kFitTolerance; ++k) {
            std::vector<EqSubBand> moved = optimise(tried[k].bands, tried[k].fitBands, sampleRate, grid);
            const double error = measure(moved, sampleRate, grid, Measure::True);
            if (error < tried[k].error) {
                tried[k].bands = std::move(moved);
                tried[k].error = error;
            }
            if (tried[k].error < tried[winner].error) winner = k;
        }
        if (tried[winner].error < bestError - 1e-9) {
            best = std::move(tried[winner].bands);
            bestError = tried[winner].error;
            fitBands = std::move(tried[winner].fitBands);
        }
    }
    plan.extraBands = int(best.size() - plan.subBands.size());
    plan.subBands = std::move(best);
    plan.worstError = bestError;
    run.cache.emplace(key, plan);
}

void prefitBands(const std::vector<EqBandPlan>& plans, double sampleRate, EqFitRun& run, unsigned threads) {
    std::vector<std::pair<std::string, EqBandPlan>> work;
    std::unordered_map<std::string, bool> queued;
    for (const EqBandPlan& plan : plans) {
        std::string key = cacheKey(plan, sampleRate);
        if (run.cache.count(key) || !queued.emplace(key, true).second) continue;
        work.push_back({std::move(key), plan});
    }
    // Each fit is made alone, from its plan, with a cache of its own: the
    // thread that makes it does not change it.
    std::atomic<size_t> next{0};
    const auto fitSome = [&work, &next, sampleRate]() {
        for (size_t k = next++; k < work.size(); k = next++) {
            EqFitRun alone;
            fitBand(work[k].second, sampleRate, alone);
        }
    };
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    const size_t count = std::min<size_t>({threads, cores, work.size()});
    std::vector<std::thread> pool;
    for (size_t t = 1; t < count; ++t) pool.emplace_back(fitSome);
    fitSome();
    for (std::thread& thread : pool) thread.join();
    for (auto& [key, plan] : work) run.cache.emplace(std::move(key), std::move(plan));
}

ReaEqBand reaEqBandOf(const EqSubBand& band, bool enabled, double sampleRate) {
    ReaEqBand out;
    out.type = band.type;
    out.enabled = enabled && band.enabled;
    out.frequency = band.frequency;
    out.gainDb = band.gainDb;
    out.width = band.type == 0 || band.type == 1 ? shelfWidth(band.gainDb, band.q)
                                                 : bellWidth(band.frequency, band.q, sampleRate);
    return out;
}
