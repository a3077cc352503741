// A stand-in for linux-gpib's libgpib: the same C entry points, with the GPIB boards and instruments of
// the simulated bench behind them (the default bench, or the bench file in TAVREL_GPIB_DOUBLE_BENCH).
// Built with GPIB_DOUBLE_GLOBALS_ONLY it has only the process-wide ibsta/iberr/ibcnt, like old releases.

#include "sim/SimBench.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>

#define GPIB_API extern "C" __attribute__((visibility("default")))

extern "C" {
__attribute__((visibility("default"))) volatile int ibsta = 0, iberr = 0, ibcnt = 0;
__attribute__((visibility("default"))) volatile long ibcntl = 0;
}

namespace {

constexpr int kErr = 0x8000, kTimo = 0x4000, kEnd = 0x2000, kCmpl = 0x100;
constexpr int kEdvr = 0, kEnol = 2, kEarg = 4, kEabo = 6, kEneb = 7, kEbus = 14;
constexpr int kBoards = 4; // descriptors 0..3 are the boards, devices get higher ones
// T-codes 0 (TNONE: never) .. 17 in milliseconds, rounded up.
constexpr int kTimeoutMs[] = {1 << 30, 1,   1,    1,    1,     1,     3,      10,     30,
                              100,     300, 1000, 3000, 10000, 30000, 100000, 300000, 1000000};

struct Descriptor {
    int board = 0, pad = 0, timeoutCode = 11;         // a board's own address is 0
    std::unique_ptr<tavrelsim::SimEndpoint> endpoint; // null: nobody listens there
};

std::mutex g_mutex;
std::shared_ptr<tavrelsim::SimBench> g_bench;
std::map<int, std::shared_ptr<Descriptor>> g_descriptors;
int g_nextUd = kBoards;
thread_local int t_sta = 0, t_err = 0;
thread_local long t_cnt = 0;

int done(int sta, int err = 0, long count = 0) {
    ibsta = t_sta = sta;
    iberr = t_err = err;
    ibcntl = t_cnt = count;
    ibcnt = static_cast<int>(count);
    return sta;
}
int fail(int err, long count = 0) {
    return done(kErr, err, count);
}

tavrelsim::SimBench& bench() { // called with g_mutex held
    if (g_bench) return *g_bench;
    const QString file = qEnvironmentVariable("TAVREL_GPIB_DOUBLE_BENCH");
    try {
        g_bench = file.isEmpty() ? tavrelsim::SimBench::defaultBench() : tavrelsim::SimBench::fromFile(file);
    } catch (const std::exception& e) { // no exception may cross the C interface: then there are no boards
        std::fprintf(stderr, "gpib double: %s\n", e.what());
        g_bench = tavrelsim::SimBench::fromJson(R"({"gpib": [], "com": []})", QStringLiteral("empty bench"));
    }
    return *g_bench;
}

// The board or device behind a descriptor; boards exist while the bench has them.
std::shared_ptr<Descriptor> find(int ud) {
    std::lock_guard lock(g_mutex);
    if (ud >= 0 && ud < kBoards) {
        if (!bench().gpibBoards().contains(ud)) return nullptr;
        auto& board = g_descriptors[ud];
        if (!board) board = std::make_shared<Descriptor>(Descriptor{ud, 0, 11, nullptr});
        return board;
    }
    const auto it = g_descriptors.find(ud);
    return it == g_descriptors.end() ? nullptr : it->second;
}
int missing(int ud) {
    return fail(ud >= 0 && ud < kBoards ? kEneb : kEdvr);
}

} // namespace

GPIB_API int ibdev(int board, int pad, int sad, int timeoutCode, int, int) {
    if (board < 0 || board >= kBoards || !find(board)) return fail(kEneb), -1;
    if (pad < 0 || pad > 30 || sad != 0 || timeoutCode < 0 || timeoutCode > 17) return fail(kEarg), -1;
    std::lock_guard lock(g_mutex);
    const int ud = g_nextUd++;
    g_descriptors[ud] =
        std::make_shared<Descriptor>(Descriptor{board, pad, timeoutCode, bench().openGpib(board, pad)});
    done(kCmpl);
    return ud;
}

GPIB_API int ibwrt(int ud, const void* buffer, long count) {
    const auto d = find(ud);
    if (!d) return missing(ud);
    if (!d->endpoint) return fail(kEnol);
    d->endpoint->write(QByteArray(static_cast<const char*>(buffer), count));
    return done(kCmpl, 0, count);
}

GPIB_API int ibrd(int ud, void* buffer, long count) {
    const auto d = find(ud);
    if (!d) return missing(ud);
    if (!d->endpoint) return done(kErr | kTimo, kEabo); // no talker ever answers
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::milliseconds(kTimeoutMs[d->timeoutCode]);
    long got = 0;
    while (got < count) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        const tavrelsim::SimReadResult result =
            d->endpoint->read(count - got, int(std::max<long long>(0, left)));
        std::memcpy(static_cast<char*>(buffer) + got, result.data.constData(), result.data.size());
        got += result.data.size();
        if (result.end) return done(kCmpl | kEnd, 0, got);
        if (result.status == tavrelsim::SimReadResult::Timeout) return done(kErr | kTimo, kEabo, got);
        if (result.status == tavrelsim::SimReadResult::Dropped) return fail(kEbus, got);
    }
    return done(kCmpl, 0, got);
}

GPIB_API int ibclr(int ud) {
    const auto d = find(ud);
    if (!d) return missing(ud);
    if (!d->endpoint) return fail(kEnol);
    d->endpoint->clear();
    return done(kCmpl);
}

GPIB_API int ibtmo(int ud, int timeoutCode) {
    const auto d = find(ud);
    if (!d) return missing(ud);
    if (timeoutCode < 0 || timeoutCode > 17) return fail(kEarg);
    d->timeoutCode = timeoutCode;
    return done(kCmpl);
}

GPIB_API int ibonl(int ud, int online) {
    if (!find(ud)) return missing(ud);
    std::lock_guard lock(g_mutex);
    if (!online && ud >= kBoards) g_descriptors.erase(ud);
    return done(kCmpl);
}

GPIB_API int ibln(int ud, int pad, int sad, short* found) {
    if (ud < 0 || ud >= kBoards || !find(ud)) return fail(kEneb);
    if (pad < 0 || pad > 30 || sad != 0) return fail(kEarg);
    std::lock_guard lock(g_mutex);
    *found = bench().gpibAddresses(ud).contains(pad) ? 1 : 0;
    return done(kCmpl);
}

GPIB_API int ibloc(int ud) {
    return find(ud) ? done(kCmpl) : missing(ud);
}

GPIB_API int ibask(int ud, int option, int* value) { // IbaPAD 0x1, IbaTMO 0x3
    const auto d = find(ud);
    if (!d) return missing(ud);
    if (option != 0x1 && option != 0x3) return fail(kEarg);
    *value = option == 0x1 ? d->pad : d->timeoutCode;
    return done(kCmpl);
}

#ifndef GPIB_DOUBLE_GLOBALS_ONLY
GPIB_API int ThreadIbsta() {
    return t_sta;
}
GPIB_API int ThreadIberr() {
    return t_err;
}
GPIB_API int ThreadIbcnt() {
    return static_cast<int>(t_cnt);
}
GPIB_API long ThreadIbcntl() {
    return t_cnt;
}
#endif
