// Shows what "PooledObjects.log" says about pools of objects: as tables, the figures of each block
// and how large to make the pools; as a page, how the figures developed.
//
// Usage: pooled-report [FILE] [--last] [--html OUT | --follow]
//
// The exit code is 1 if FILE is not a report or OUT cannot be written, and 2 for wrong usage.

#include <sys/ioctl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iomanip>
#include <iostream>
#include <map>
#include <optional>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "Vorn/PathsLite.h"
#include "Vorn/WString.h"
#include "Vorn/WStringUtils.h"

namespace {

namespace fs = std::filesystem;

struct Line {
    bool operator==(const Line&) const = default;

    WString pool;
    double maxInUse = 0;
    double peak = 0;  // Allocations a second.
    std::string peakAt;
    std::string peakDate;
};

// What one process reported.
struct Block {
    bool operator==(const Block&) const = default;

    std::string date;
    std::vector<Line> lines;
};

using Report = std::vector<Block>;
using Trend = std::map<std::size_t, Line>;  // A pool's figures by the number of the block.

// Translucent greys suit both the light and the dark scheme.
constexpr char kPageStart[] = R"(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"/><meta name="viewport" content="width=device-width"/>
<title>Pool report</title><style>
:root { color-scheme: light dark; font: 15px/1.5 system-ui, sans-serif; }
body { max-width: 76rem; margin: 2rem auto; padding: 0 1.5rem; overflow-wrap: anywhere; }
article { display: grid; grid-template-columns: 2fr 5rem 3fr 3fr; gap: 1rem 1.5rem;
  padding: 1rem 0; border-top: 1px solid #8885; }
h2 { font-size: 1rem; margin: 0; } figure { margin: 0; } article p { margin: 0; }
header p, .axis, .dates, .older b { opacity: .7; }
b { font-variant-numeric: tabular-nums; } p b { display: block; font-size: 1.6rem; line-height: 1; }
.chart { display: grid; gap: 0 .4rem; font-size: .75rem;
  grid: 3.5rem auto / 4.5rem minmax(0, max(12rem, var(--blocks) * 14px)); }
.axis { display: grid; align-content: space-between; text-align: right; }
.dates { grid-column: 2; display: flex; justify-content: space-between; }
svg { width: 100%; height: 100%; box-shadow: 0 1px #8885, 0 -1px #8885; }
path { fill: #8882; } rect { fill: #4b8acb; }
g:not(.last, :hover) rect { opacity: .55; }
@media (max-width: 60rem) {
  body { margin: 1rem auto; padding: 0 1rem; } article { grid-template-columns: 1fr auto; }
  figure { grid-column: 1 / -1; }
}
</style></head><body><header><h1>Pool report</h1>
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
    const fs::path folder = fs::path(file).parent_path();
    if (!in.is_open() && !folder.empty() && !fs::exists(folder))
        fail(folder, "no such folder; nothing is reported until you create it (mkdir -p)");
    if (!in.is_open()) fail(file);
    if (in.peek(); in.eof()) fail(file, "is empty");
    Report report = parse(in);
    if (!in.eof()) fail(file);
    if (report.empty()) fail(file, "is not a pool report");
    return report;
}

// A folder stands for the report in it, or where the library puts it below; nothing for the user's.
std::string findReport(const std::string& given) {
    if (!given.empty() && !fs::is_directory(given)) return given;
    fs::path folder = given;
    if (given.empty()) folder = Vorn::pathFromWString(Vorn::PathsLite::getSystemLogsPath());
    if (fs::is_directory(folder / "Vornhold" / "Logs")) folder = folder / "Vornhold" / "Logs";
    return folder / "PooledObjects.log";
}

std::map<WString, Trend> trendsOf(const Report& report) {
    std::map<WString, Trend> trends;
    for (std::size_t i = 0; i < report.size(); ++i) {
        for (const Line& line : report[i].lines) {
            Line& highest = trends[line.pool][i];
            highest.maxInUse = std::max(highest.maxInUse, line.maxInUse);
            highest.peak = std::max(highest.peak, line.peak);
        }
    }
    return trends;
}

double highest(const Trend& trend, double Line::*figure) {
    double result = 0;
    for (const auto& [block, line] : trend) result = std::max(result, line.*figure);
    return result;
}

// How large to make a pool: as large as it ever had to be, and a quarter more.
double advisedSize(const Trend& trend) {
    return std::ceil(highest(trend, &Line::maxInUse) * 1.25);
}

UTF8String escaped(const WString& text) {
    WString result = Vorn::substitute(text, L"&", L"&amp;");
    result = Vorn::substitute(result, L"<", L"&lt;");
    return Vorn::UTF8FromWString(Vorn::substitute(result, L">", L"&gt;"));
}

class Tables {
public:
    Tables(std::ostream& stream, const Report& shownReport) : out(stream), report(shownReport) {
        for (const Block& block : report)
            for (const Line& line : block.lines) width = std::max(width, line.pool.size());
        out << std::fixed;
    }

    void printBlock(const Block& block) const {
        out << block.date << "\n\n"
            << padded(L"pool") << "    maxInUse   peak allocs/s         at [ms]  date\n";
        for (const Line& line : block.lines) {
            printFigures(line.pool, line.maxInUse, line.peak);
            if (line.peakAt != "0.00") out << std::setw(16) << line.peakAt << "  " << line.peakDate;
            out << '\n';
        }
        out << '\n';
    }

    void printAdvice() const {
        out << "How large to make the pools, by the highest figures of " << report.size()
            << (report.size() == 1 ? " block\n\n" : " blocks\n\n") << padded(L"pool")
            << "    maxInUse   peak allocs/s         make it\n";
        for (const auto& [pool, trend] : trendsOf(report)) {
            printFigures(pool, highest(trend, &Line::maxInUse), highest(trend, &Line::peak));
            out << std::setw(16) << std::setprecision(0) << advisedSize(trend) << '\n';
        }
    }

private:
    UTF8String padded(WString name) const {
        name.resize(width, L' ');
        return Vorn::UTF8FromWString(name);
    }
    void printFigures(const WString& pool, double maxInUse, double peak) const {
        out << padded(pool) << std::setw(12) << std::setprecision(0) << maxInUse << std::setw(16)
            << std::setprecision(2) << peak;
    }

    std::ostream& out;
    const Report& report;
    std::size_t width = 4;
};

// A bar is as high as its value. Every block has its place, also where it misses the pool.
void writeChart(std::ostream& out, const Report& report, const Trend& trend, double Line::*figure,
                const char* caption, int decimals) {
    const double top = std::max(1.0, highest(trend, figure));
    const auto& [newest, newestLine] = *trend.rbegin();
    out << std::setprecision(decimals) << "<figure"
        << (newest + 1 == report.size() ? "" : " class=\"older\"") << "><figcaption>" << caption
        << " <b>" << newestLine.*figure
        << "</b></figcaption>\n<div class=\"chart\" style=\"--blocks:" << report.size()
        << "\"><div class=\"axis\"><span>" << top
        << "</span><span>0</span></div><svg viewBox=\"0 0 " << 10 * report.size() << ' ' << top
        << "\" preserveAspectRatio=\"none\">\n";
    for (const auto& [block, line] : trend)
        out << (block + 1 == report.size() ? "<g class=\"last\">" : "<g>") << "<title>"
            << report[block].date << ": " << line.*figure << "</title><path d=\"M" << 10 * block + 1
            << " 0h8v" << top << "h-8z\"/><rect x=\"" << 10 * block + 1 << "\" y=\""
            << top - line.*figure << "\" width=\"8\" height=\"" << line.*figure << "\"/></g>\n";
    const auto day = [](const Block& block) { return block.date.substr(4, 12); };
    out << "</svg><div class=\"dates\"><span>" << day(report.front()) << "</span>";
    if (report.size() > 1) out << "<span>" << day(report.back()) << "</span>";
    out << "</div></div></figure>\n";
}

void writePage(const std::string& page, const Report& report, const std::string& file) {
    std::error_code ignored;
    if (fs::equivalent(file, page, ignored)) fail(page, "is the report itself");
    const std::map<WString, Trend> trends = trendsOf(report);
    std::vector<std::pair<WString, Trend>> pools(trends.begin(), trends.end());
    const auto newest = [](const auto& pool) { return pool.second.rbegin()->second.maxInUse; };
    std::ranges::stable_sort(pools, std::greater(), newest);

    std::ofstream out(page, std::ios::binary);
    out << std::fixed << kPageStart << "<p>" << escaped(shown(file))
        << "<br/>Blocks: " << report.size() << ", from " << report.front().date << " to "
        << report.back().date
        << "<br/>Each bar is a block, the last one in full colour. The figure above is the newest, "
        << "pale if it is from an earlier block.<br/>“Make it” is the highest maxInUse plus a "
        << "quarter.</p></header>\n";
    for (const auto& [name, trend] : pools) {
        out << std::setprecision(0) << "<article><h2>" << escaped(name) << "</h2><p>make it <b>"
            << advisedSize(trend) << "</b></p>\n";
        writeChart(out, report, trend, &Line::maxInUse, "maxInUse", 0);
        writeChart(out, report, trend, &Line::peak, "Peak demand, allocs/s", 2);
        out << "</article>\n";
    }
    out << "</body></html>\n" << std::flush;
    if (!out) fail(page);
}

volatile std::sig_atomic_t mustStop = 0;

// The second screen of a terminal; the first one comes back with all that it showed.
class Screen {
public:
    Screen() { std::cout << "\033[?1049h\033[?25l\033[?7l"; }
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;
    ~Screen() { std::cout << "\033[?7h\033[?25h\033[?1049l" << std::flush; }

    static unsigned rows() {
        winsize size{};
        const bool known = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 1;
        return known ? size.ws_row : 24U;
    }
    // As much of the text as there is room for, in place of what was there.
    static void draw(const std::string& text) {
        std::istringstream lines(text);
        std::cout << "\033[H";
        std::string line;
        for (unsigned left = rows() - 1; left > 0 && std::getline(lines, line); --left)
            std::cout << line << "\033[K\n";
        std::cout << (std::getline(lines, line) ? "… " : "") << "Ctrl-C ends this view\033[J";
    }
};

// Another one whenever the file is, or the terminal has another size.
auto stateOf(const std::string& file) {
    std::error_code ignored;
    return std::tuple(fs::file_size(file, ignored), fs::last_write_time(file, ignored),
                      Screen::rows());
}

// Looks at the file again and again until a signal comes. A terminal shows the last block and the
// advice, anything else gets the blocks that are new or have grown.
void follow(const std::string& file, bool lastOnly) {
    for (const int signal : {SIGINT, SIGTERM}) std::signal(signal, [](int) { mustStop = 1; });
    std::optional<Screen> screen;
    if (::isatty(STDOUT_FILENO) != 0) screen.emplace();
    Report before;
    for (decltype(stateOf(file)) seen; mustStop == 0;
         std::this_thread::sleep_for(std::chrono::milliseconds(200))) {
        const auto state = stateOf(file);
        if (state == std::exchange(seen, state)) continue;
        std::ostringstream text;
        try {
            const Report report = load(file);
            const Tables tables(text, report);
            auto first = std::ranges::mismatch(report, before).in1;
            if (screen || (lastOnly && before.empty())) first = report.end() - 1;
            std::for_each(first, report.end(),
                          [&](const Block& block) { tables.printBlock(block); });
            if (screen) tables.printAdvice();
            before = report;
        } catch (const std::runtime_error& failure) {
            (screen ? text : std::cerr) << "pooled-report: " << failure.what() << '\n';
        }
        if (screen)
            Screen::draw(text.str());
        else
            std::cout << text.str();
        if (!std::cout.flush()) fail("standard output");
    }
}

}  // namespace

int main(int argc, char** argv) try {
    CLI::App app("Shows how pools of objects were used, and how large to make them.",
                 "pooled-report");
    std::string given;
    std::string page;
    bool lastOnly = false;
    bool follows = false;
    app.add_option("FILE", given,
                   "The report, or its folder; without it, the PooledObjects.log that programs of "
                   "this user write");
    app.add_flag("--last", lastOnly, "Only the last block");
    auto* const html = app.add_option("--html", page, "Also write a page with charts");
    app.add_flag("--follow", follows, "Keep showing what is reported, until Ctrl-C")
        ->excludes(html);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& stop) {
        return app.exit(stop) == 0 ? 0 : 2;
    }
    const std::string file = findReport(given);
    if (follows) {
        follow(file, lastOnly);
        return 0;
    }
    const Report report = load(file);
    const Tables tables(std::cout, report);
    if (lastOnly) {
        tables.printBlock(report.back());
    } else {
        for (const Block& block : report) tables.printBlock(block);
        tables.printAdvice();
    }
    if (!std::cout.flush()) fail("standard output");
    if (html->count() > 0) writePage(page, report, file);
    return 0;
} catch (const std::exception& failure) {
    std::cerr << "pooled-report: " << failure.what() << '\n';
    return 1;
}
