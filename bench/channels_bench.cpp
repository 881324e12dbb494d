// SPDX-License-Identifier: Apache-2.0
// Many channels at once: G.729 Annex A (a frame encoded and one decoded) and the sub-band echo
// canceller. Each channel has its own state and goes on at its own place in
// the signal; frames are run channel by channel, so that states compete for the caches.
// `channels/core` is how many of them a core would run in real time.
#include "aec/engines.h"
#include "codecs/codec.h"
#include "kit/data.h"

#include <benchmark/benchmark.h>

#include <ctime>
#include <memory>

namespace {

using namespace qolsc::tools;
using namespace qolsc::test;
using Words = std::vector<std::int16_t>;

const Words& speech() {
    static const Words words = readWords("gsm/sequences/speech_a.inp"); // 8 kHz
    return words;
}

/// Speech with a delayed and weaker copy of itself.
const Words& echo() {
    static const Words words = [] {
        Words w = speech();
        for (std::size_t n = w.size(); n-- > 60;) {
            w[n] = static_cast<std::int16_t>(w[n - 60] / 4);
        }
        return w;
    }();
    return words;
}

/// A place in the signal that goes on by a frame and begins anew in front of its end.
struct Place {
    std::size_t at;
    const std::int16_t* next(const Words& signal, std::size_t frame) {
        at = at + 2 * frame <= signal.size() ? at + frame : 0;
        return signal.data() + at;
    }
};
Place placeOf(int channel) { return {static_cast<std::size_t>(channel) * 4001 % 30000}; }

class Speaker {
public:
    static double frameSeconds() { return 0.01; }
    explicit Speaker(int channel)
        : encoder(codec().openEncoder(codec(), {}), codec().closeEncoder),
          decoder(codec().openDecoder(codec(), {}), codec().closeDecoder), place(placeOf(channel)) {
    }
    void run() {
        frame.payload.clear();
        frame.bits = 0;
        codec().encode(encoder.get(), place.next(speech(), 80), 80, frame);
        codec().decode(decoder.get(), frame, out);
        benchmark::DoNotOptimize(out);
    }

private:
    static const Codec& codec() {
        static const Codec& found = *findCodec("g729a");
        return found;
    }
    std::unique_ptr<void, void (*)(void*)> encoder, decoder;
    Place place;
    Frame frame;
    std::int16_t out[80];
};

class Canceller {
public:
    explicit Canceller(int channel)
        : runner(makeSubbandFloat({.rate = 8000, .tailMs = 128})), place(placeOf(channel)),
          out(static_cast<std::size_t>(runner.frameSize)) {}
    double frameSeconds() const { return runner.frameSize / 8000.0; }
    void run() {
        const std::int16_t* far = place.next(speech(), out.size());
        runner.run(far, echo().data() + (far - speech().data()), out.data());
        benchmark::DoNotOptimize(out);
    }

private:
    AecRunner runner;
    Place place;
    Words out;
};

/// Processor time of this thread: what others do on the machine isn't counted.
double threadSeconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

/// Each thread has as many channels as the argument says.
template <typename Channel>
void channels(benchmark::State& state) {
    std::vector<std::unique_ptr<Channel>> all;
    for (int i = 0; i < state.range(0); ++i) {
        all.push_back(std::make_unique<Channel>(i + 1000 * state.thread_index()));
    }
    const double start = threadSeconds();
    for (auto _ : state) {
        for (const auto& channel : all) {
            channel->run();
        }
    }
    const double seconds = threadSeconds() - start;
    const double simulated = static_cast<double>(state.iterations()) * all[0]->frameSeconds() *
                             static_cast<double>(all.size());
    state.counters["channels/core"] =
        benchmark::Counter(simulated / seconds, benchmark::Counter::kAvgThreads);
}

BENCHMARK(channels<Speaker>)->Name("g729a")->RangeMultiplier(10)->Range(1, 1000)->ThreadRange(1, 2);
BENCHMARK(channels<Canceller>)
    ->Name("echo")
    ->RangeMultiplier(10)
    ->Range(1, 1000)
    ->ThreadRange(1, 2);

} // namespace

BENCHMARK_MAIN();
