#include "rows.h"

#include <array>
#include <cstdio>

namespace report {

namespace {

constexpr double us = 1e-6;
constexpr double ms = 1e-3;
constexpr double MiB = 1024.0 * 1024.0;

constexpr auto allRows = std::to_array<Row>({
    {"sign, 1 container", "sign/module/1", "sign/libcrypto/1", GoalKind::ratio, 1.03},
    {"sign, 100 containers", "sign/module/100", "sign/libcrypto/100", GoalKind::ratio, 1.03},
    {"sign, 10,000 containers", "sign/module/10000", "sign/libcrypto/10000", GoalKind::ratio, 1.03},
    {"verify", "verify/module", "verify/libcrypto", GoalKind::ratio, 1.3},
    {"encrypt", "encrypt/module", "encrypt/libcrypto", GoalKind::ratio, 1.3},
    {"new process to its first signature", "first signature/module", "first signature/plain",
     GoalKind::excess, 1 * ms},
    {"new process to a store's first item", "first item/module", "first item/plain", GoalKind::excess,
     3 * ms},
    {"decode a root certificate", "decode/toolkit", "decode/libcrypto", GoalKind::figure, 1 * us},
    {"walk 100, each", "walk/module/100", "walk/sqlite/100", GoalKind::figure, 6 * us},
    {"walk 1,000, each", "walk/module/1000", "walk/sqlite/1000", GoalKind::figure, 6 * us},
    {"walk 10,000, each", "walk/module/10000", "walk/sqlite/10000", GoalKind::figure, 6 * us},
    {"walk 100,000, each", "walk/module/100000", "walk/sqlite/100000", GoalKind::figure, 6 * us},
    {"search by label, each passed", "search/label/10000", "search/sqlite/10000", GoalKind::figure, 4 * us},
    {"search by signature", "search/signature/10000", "search/sqlite/10000", GoalKind::figure, 4 * us},
    {"search by unsigned certificate", "search/unsigned certificate/10000", "search/sqlite/10000",
     GoalKind::figure, 4 * us},
    {"search by issuer and serial", "search/issuer and serial number/10000", "search/sqlite/10000",
     GoalKind::figure, 4 * us},
    {"search by subject", "search/subject/10000", "search/sqlite/10000", GoalKind::figure, 4 * us},
    {"search by public key", "search/public key/10000", "search/sqlite/10000", GoalKind::figure, 4 * us},
    {"memory of a walk, 100,000 beside 100", "memory/100000", "memory/100", GoalKind::excess, 4 * MiB,
     Unit::bytes},
    {"open 10,000 cold, first item", "cold open/module/10000", "cold open/sqlite/10000", GoalKind::ratio,
     1.5},
    {"durable insert at 100", "insert/layer/100", "insert/sqlite/100", GoalKind::ratio, 1.25},
    {"durable insert at 1,000", "insert/layer/1000", "insert/sqlite/1000", GoalKind::ratio, 1.25},
    {"durable insert at 10,000", "insert/layer/10000", "insert/sqlite/10000", GoalKind::ratio, 1.25},
    {"durable insert at 100,000", "insert/layer/100000", "insert/sqlite/100000", GoalKind::ratio, 1.25},
    {"durable delete at 100", "delete/layer/100", "delete/sqlite/100", GoalKind::ratio, 1.25},
    {"durable delete at 1,000", "delete/layer/1000", "delete/sqlite/1000", GoalKind::ratio, 1.25},
    {"durable delete at 10,000", "delete/layer/10000", "delete/sqlite/10000", GoalKind::ratio, 1.25},
    {"durable delete at 100,000", "delete/layer/100000", "delete/sqlite/100000", GoalKind::ratio, 1.25},
    {"8 processes, 50 inserts each", "processes/layer", "processes/sqlite", GoalKind::ratio, 1.5},
    {"key pair, beside its generation", "key pair/module", "key pair/sqlite", GoalKind::ratio, 1.25},
    {"sign, 2 threads", "threads/sign", "threads/sign plain", GoalKind::least, 1.9, Unit::times},
    {"walk, 2 threads", "threads/walk", "threads/walk plain", GoalKind::least, 1.9, Unit::times},
    {"32 random bytes", "random/module", "random/libcrypto", GoalKind::figure, 1.2 * us},
});

std::string timesText(double factor) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f times", factor);
    return text;
}

std::string kibibytesText(double bytes) {
    char text[32];
    std::snprintf(text, sizeof text, "%.0f KiB", bytes / 1024);
    return text;
}

} // namespace

std::span<Row const> rows() { return allRows; }

std::string goalText(Row const& row) {
    switch (row.kind) {
    case GoalKind::ratio:
        return timesText(row.goal);
    case GoalKind::figure:
        return figureText(row, row.goal);
    case GoalKind::excess:
        return figureText(row, row.goal) + " more";
    case GoalKind::least:
        return "at least " + figureText(row, row.goal);
    }
    return {};
}

double goalFigure(Row const& row, double counterpart) {
    switch (row.kind) {
    case GoalKind::ratio:
        return row.goal * counterpart;
    case GoalKind::figure:
    case GoalKind::least:
        return row.goal;
    case GoalKind::excess:
        return counterpart + row.goal;
    }
    return 0;
}

std::string timeText(double seconds) {
    struct Scale {
        double size;
        char const* name;
    };
    constexpr Scale scales[] = {{1, "s"}, {ms, "ms"}, {us, "us"}, {1e-9, "ns"}};
    Scale const* unit = scales;
    // A figure that would be rounded up to the next unit's size is shown in that one.
    while (unit->size > 1e-9 && seconds < 0.9995 * unit->size) {
        ++unit;
    }
    double const figure = seconds / unit->size;
    int const decimals = figure < 9.995 ? 2 : figure < 99.95 ? 1 : 0;
    char text[32];
    std::snprintf(text, sizeof text, "%.*f %s", decimals, figure, unit->name);
    return text;
}

std::string roundTimeText(double seconds) {
    std::string text = timeText(seconds);
    if (std::size_t const point = text.find('.'); point != std::string::npos) {
        text.erase(point, text.find(' ') - point);
    }
    return text;
}

std::string figureText(Row const& row, double figure) {
    switch (row.unit) {
    case Unit::seconds:
        return timeText(figure);
    case Unit::bytes:
        return kibibytesText(figure);
    case Unit::times:
        return timesText(figure);
    }
    return {};
}

} // namespace report
