// Shows what "PooledObjects.log" says about the pools of objects: the figures of its last block as
// a table, and on a page how they developed over all of its blocks.
//
// Usage: pooled-report FILE [--html OUT]
//
// The exit code is 1 if FILE is no report or OUT cannot be written, and 2 for wrong usage.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iomanip>
#include <iostream>
#include <map>
#include <regex>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "Vorn/WString.h"
#include "Vorn/WStringUtils.h"

namespace {

struct Line {
    WString pool;
    double maxInUse = 0;
    double peak = 0;  // Allocations a second.
    std::string peakAt;
    std::string peakDate;
};

// What one process reported.
struct Block {
    std::string date;
    std::vector<Line> lines;
};

using Report = std::vector<Block>;
using Trend = std::map<std::size_t, Line>;  // A pool's figures by the number of the block.

// Translucent greys suit both the light and the dark scheme.
constexpr char kPageStart[] = R"(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"/><title>Pool report</title><style>
:root { color-scheme: light dark; font: 15px/1.5 system-ui, sans-serif; }
body { max-width: 76rem; margin: 2rem auto; padding: 0 1.5rem; overflow-wrap: anywhere; }
p, thead, .axis, .older { opacity: .7; }
table { width: 100%; min-width: 50rem; border-collapse: collapse; table-layout: fixed; }
th, td { padding: .7rem .5rem; border-bottom: 1px solid #8885; text-align: left; }
.name { width: 22%; } .number { width: 7rem; }
.number, .axis { text-align: right; font-variant-numeric: tabular-nums; }
.chart { display: flex; height: 3.5rem; gap: .4rem; }
.axis { display: grid; align-content: space-between; min-width: 5rem; font-size: .75rem; }
.plot { flex: 1; min-width: 0; border: solid #8885; border-width: 1px 0; }
svg { display: block; height: 100%; margin-left: auto; }
path { fill: #8882; } rect { fill: #4b8acb; }
g:not(.last, :hover) rect { opacity: .55; }
</style></head><body><h1>Pool report</h1>)";
constexpr char kTableStart[] = R"(
<br/>One bar a block, the last block's dark; pale numbers are from earlier blocks.</p>
<table><thead><tr><th class="name">Pool</th><th>maxInUse</th><th class="number">newest</th>
<th>Peak demand [allocs/s]</th><th class="number">newest</th></tr></thead><tbody>
)";

// The decimal mark is that of the locale which the reporting process ran in. Repetitions are
// bounded, since the engine recurses. A date that matches holds nothing that a page has to escape.
const std::string kNumber = R"((\d{1,15})[^\d ]{1,4}(\d\d))";
const std::string kDate = R"((\w{3} \w{3} [ \d]\d \d\d:\d\d:\d\d \d{4,6}))";
const std::regex kHeader("-{59} " + kDate);
const std::regex kFigures(R"(: maxInUse (\d{1,10}) Peak Demand )" + kNumber + " allocs/sec @ " +
                          kNumber + " " + kDate);

// A name in one line, with marks for line breaks and for what neither terminal nor page may get.
WString shown(const std::string& text) {
    WString result = Vorn::WStringFromUTF8(text.c_str());
    for (wchar_t& c : result) {
        if (c == L'\n') c = L'\u21B5';
        if (c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0xFFFE || c == 0xFFFF) c = 0xFFFD;
    }
    return result;
}

// A name can hold line breaks and whatever else a line holds, so only the figures at the end of a
// line end its name; a name without figures is dropped. Zero bytes are what a system crash leaves.
Report parse(std::istream& in) {
    Report report;
    std::string name;
    for (std::string line; std::getline(in, line);) {
        std::erase(line, '\0');
        const std::size_t end = std::min(line.rfind(": maxInUse "), line.size());
        const std::string figures = line.substr(end);
        std::smatch field;
        if (std::regex_match(line, field, kHeader)) {
            report.push_back({field[1], {}});
            name.clear();
            if (in.peek() == '\n') in.ignore();
        } else if (!report.empty() && std::regex_match(figures, field, kFigures)) {
            const double peak = std::stod(field.str(2) + '.' + field.str(3));
            name += line.substr(0, end);
            report.back().lines.push_back({shown(std::exchange(name, {})), std::stod(field[1]),
                                           peak, field.str(4) + '.' + field.str(5), field[6]});
        } else {
            name += line + '\n';
        }
    }
    std::erase_if(report, [](const Block& block) { return block.lines.empty(); });
    return report;
}

[[noreturn]] void fail(const std::string& file,
                       const std::string& reason = std::generic_category().message(errno)) {
    throw std::runtime_error(file + ": " + reason);
}

Report load(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    if (in.peek(); in.eof()) fail(file, "is empty");
    Report report = parse(in);
    if (!in.eof()) fail(file);
    if (report.empty()) fail(file, "is no pool report");
    return report;
}

UTF8String escaped(const WString& text) {
    WString result = Vorn::substitute(text, L"&", L"&amp;");
    result = Vorn::substitute(result, L"<", L"&lt;");
    return Vorn::UTF8FromWString(Vorn::substitute(result, L">", L"&gt;"));
}

void printTable(const Block& block) {
    WString heading = L"pool";
    for (const Line& line : block.lines)
        heading.resize(std::max(heading.size(), line.pool.size()), L' ');
    std::cout << std::fixed << block.date << "\n\n";
    std::cout << Vorn::UTF8FromWString(heading)
              << "    maxInUse   peak allocs/s         at [ms]  date\n";
    for (const Line& line : block.lines) {
        const WString padding(heading.size() - line.pool.size(), L' ');
        std::cout << Vorn::UTF8FromWString(line.pool + padding) << std::setw(12)
                  << std::setprecision(0) << line.maxInUse << std::setw(16) << std::setprecision(2)
                  << line.peak;
        if (line.peakAt != "0.00")
            std::cout << std::setw(16) << line.peakAt << "  " << line.peakDate;
        std::cout << '\n';
    }
}

// A bar is as high as its value. Every block has its place, also where it misses the pool.
void writeChart(std::ostream& out, const Report& report, const Trend& trend, double Line::*figure,
                int decimals) {
    double top = 1;
    for (const auto& [block, line] : trend) top = std::max(top, line.*figure);
    const auto& [newest, newestLine] = *trend.rbegin();
    out << std::setprecision(decimals) << "<td><div class=\"chart\"><div class=\"axis\"><span>"
        << top << "</span><span>0</span></div><div class=\"plot\"><svg viewBox=\"0 0 "
        << 10 * report.size() << ' ' << top << "\" preserveAspectRatio=\"none\""
        << " style=\"width:min(100%," << 14 * report.size() << "px)\">\n";
    for (const auto& [block, line] : trend)
        out << (block + 1 == report.size() ? "<g class=\"last\">" : "<g>") << "<title>"
            << report[block].date << ": " << line.*figure << "</title><path d=\"M" << 10 * block + 1
            << " 0h8v" << top << "h-8z\"/><rect x=\"" << 10 * block + 1 << "\" y=\""
            << top - line.*figure << "\" width=\"8\" height=\"" << line.*figure << "\"/></g>\n";
    out << "</svg></div></div></td><td class=\"number"
        << (newest + 1 == report.size() ? "\">" : " older\">") << newestLine.*figure << "</td>\n";
}

void writePage(const std::string& page, const Report& report, const std::string& file) {
    std::error_code ignored;
    if (std::filesystem::equivalent(file, page, ignored)) fail(page, "is the report itself");
    std::map<WString, Trend> trends;
    for (std::size_t i = 0; i < report.size(); ++i) {
        for (const Line& line : report[i].lines) {
            Line& highest = trends[line.pool][i];
            highest.maxInUse = std::max(highest.maxInUse, line.maxInUse);
            highest.peak = std::max(highest.peak, line.peak);
        }
    }
    std::vector<std::pair<WString, Trend>> pools(trends.begin(), trends.end());
    const auto newest = [](const auto& pool) { return pool.second.rbegin()->second.maxInUse; };
    std::ranges::stable_sort(pools, std::greater(), newest);

    std::ofstream out(page, std::ios::binary);
    out << std::fixed << kPageStart << "<p>" << escaped(shown(file))
        << "<br/>Blocks: " << report.size() << ", from " << report.front().date << " to "
        << report.back().date << kTableStart;
    for (const auto& [name, trend] : pools) {
        out << "<tr><th scope=\"row\">" << escaped(name) << "</th>\n";
        writeChart(out, report, trend, &Line::maxInUse, 0);
        writeChart(out, report, trend, &Line::peak, 2);
        out << "</tr>\n";
    }
    out << "</tbody></table></body></html>\n" << std::flush;
    if (!out) fail(page);
}

}  // namespace

int main(int argc, char** argv) try {
    CLI::App app("Shows what a pool report says about pools of objects.", "pooled-report");
    std::string file;
    std::string page;
    app.add_option("FILE", file, "The report, PooledObjects.log")->required();
    const auto* const html = app.add_option("--html", page, "Also write a page with charts");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& stop) {
        return app.exit(stop) == 0 ? 0 : 2;
    }
    const Report report = load(file);
    printTable(report.back());
    if (!std::cout.flush()) fail("standard output");
    if (html->count() > 0) writePage(page, report, file);
    return 0;
} catch (const std::exception& failure) {
    std::cerr << "pooled-report: " << failure.what() << '\n';
    return 1;
}
