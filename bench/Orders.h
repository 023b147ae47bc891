#pragma once

#include "Latencies.h"

#include <cstdlib>
#include <functional>
#include <sstream>
#include <string>
#include <thread>

// The orders that every caller of the RPC benchmarks understands, one a line:
//   run METHOD SAMPLE COUNT             round trips one after the other; "N P50 P99" in microseconds
//   parallel METHOD SAMPLE COUNT N      N threads with COUNT round trips each; "ANSWERED ORDERED SECONDS"
// SAMPLE is notice or a number of records. The call gets a running number and says whether its own answer came back.
struct Order
{
    std::string method;
    int records = 0, count = 0, callers = 1;
};
using Call = std::function<bool(const Order &, int number)>;

inline void runOrder(const Order &order, const Call &call)
{
    Latencies latencies;
    latencies.reserve(order.count);
    for (int i = 0; i < order.count; ++i) {
        const int64_t start = Latencies::now();
        if (call(order, i))
            latencies.add(Latencies::now() - start);
    }
    latencies.print();
}

inline void parallelOrder(const Order &order, const Call &call)
{
    std::vector<int> answered(static_cast<size_t>(order.callers), 0);
    std::vector<std::thread> threads;
    const int64_t start = Latencies::now();
    for (int &mine : answered) {
        threads.emplace_back([&order, &call, &mine] {
            for (int i = 0; i < order.count; ++i)
                mine += call(order, i) ? 1 : 0;
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    int sum = 0;
    for (const int mine : answered)
        sum += mine;
    std::cout << sum << ' ' << static_cast<double>(Latencies::now() - start) / 1e9 << std::endl;
}

// Reads and carries out orders until the input ends.
inline void obey(const Call &call, const std::function<bool(const std::string &)> &other)
{
    std::cout << "ready" << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string kind, sample;
        Order order;
        words >> kind >> order.method >> sample >> order.count >> order.callers;
        order.records = std::atoi(sample.c_str());
        if (kind == "run")
            runOrder(order, call);
        else if (kind == "parallel")
            parallelOrder(order, call);
        else if (!other(line))
            std::cout << "error" << std::endl;
    }
}
