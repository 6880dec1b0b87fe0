#include "Measurement.h"

#include <algorithm>
#include <chrono>

Quartiles QuartilesOf(std::vector<double> values)
{
    std::ranges::sort(values);
    const auto at = [&](double share) {
        return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
    };
    return {at(0.25), at(0.5), at(0.75)};
}

Measurement Measure(const Pair& pair, const Effort& effort)
{
    const auto run = [](const Half& half) {
        Meter meter;
        if (half) {
            half(meter);
        }
        return meter;
    };
    run(pair.gateway);
    run(pair.base);

    const auto units = static_cast<double>(pair.units);
    std::vector<double> ratios;
    std::vector<double> differences;
    std::vector<double> gateways;
    std::vector<double> bases;
    std::vector<double> allocations;
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::duration<double>(effort.seconds);
    while (ratios.size() < effort.least || (ratios.size() < effort.most && Clock::now() < end)) {
        Meter gateway;
        Meter base;
        if (ratios.size() % 2 == 0) {
            gateway = run(pair.gateway);
            base = run(pair.base);
        } else {
            base = run(pair.base);
            gateway = run(pair.gateway);
        }
        ratios.push_back(gateway.Nanoseconds() / base.Nanoseconds());
        differences.push_back((gateway.Nanoseconds() - base.Nanoseconds()) / units);
        gateways.push_back(gateway.Nanoseconds() / units);
        bases.push_back(base.Nanoseconds() / units);
        allocations.push_back(static_cast<double>(gateway.Allocations() - base.Allocations()) /
                              units);
    }
    return {.ratio = QuartilesOf(ratios),
            .difference = QuartilesOf(differences),
            .gateway = QuartilesOf(gateways).median,
            .base = QuartilesOf(bases).median,
            .allocations = QuartilesOf(allocations).median,
            .pairs = ratios.size()};
}
