// Writing a large scene through the package writer and reading it back from
// the package, next to the same scene built, saved and parsed as a plain XML
// document with pugixml in the same run.
//
// The scene: 100,000 blocks (--blocks N) of eight types, each with ten
// parameters of mixed kinds: booleans, integers, floats with a unit,
// three-element arrays, strings with a tag now and then, and in every second
// block a link to another block. Some values repeat across the scene (small
// counts, a palette of colours, a hundred labels), others are unique (ids,
// positions, descriptions). Both sides are given the same values; the writer
// makes the texts of numbers itself, pugixml with its own formatting.
//
// Phases, each in a process of its own so that its peak memory (the
// process's ru_maxrss, taken at the end of the phase) is its own:
//   zel write      the writer's calls, then its close (atomized document)
//   zel read       the package's scene into a file index
//   pugixml save   the same tree built as a pugixml document, saved to a file
//   pugixml parse  that file's text, already in memory, parsed in place
// The plain form of the package is written and read as well, for the cost
// of the layout and of interning on reading. Each phase runs --runs times
// (3) and the fastest run is reported.
//
// A long-lived reader, such as a render service opening one package after
// another, reads in a process whose memory has been used before. The phase
// "reread" reads the package ten times in one process, and parses the plain
// document ten times with pugixml in the same process, and reports the best
// and the median of each (wall time, as a caller waits it).
//
// Rates are taken over the processor time of the phase's process (user and
// system, so the close's writes count), since wall time on a shared machine
// measures the neighbours; wall time stands beside it, and the parameters
// per second over wall time, which is what a caller waits: a large document
// is deflated on more than one core.
//
//   make bench BENCH=scene_bench
//   make bench BENCH=scene_bench BENCH_ARGS="--blocks 20000 --runs 1"
//
// --phase NAME (write, read, write-plain, read-plain, save, parse, reread) runs that
// one phase in this process and prints its row, for a profiler; a phase that
// reads needs the scratch directory of its writing phase (--directory DIR,
// which is then kept).
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <pugixml.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zel/archive/file_reader.hpp"
#include "zel/foundation/generic_param.hpp"
#include "zel/scene/file_index.hpp"
#include "zel/writer/file_writer.hpp"

namespace {

namespace fs = std::filesystem;
using clock_type = std::chrono::steady_clock;

constexpr std::size_t parameters_per_block = 10;
constexpr const char* scene_entry = "__zel_index__.xml";

// ---------------------------------------------------------------------------
// The synthetic scene, described once for both sides.

const char* const block_types[] = {"material", "mesh",     "light", "camera",
                                   "texture",  "instance", "group", "shader"};

// prefix, the number, suffix. (Built by appending: g++ 12 warns falsely about
// a literal added to a temporary string.)
std::string numbered(std::string_view prefix, std::size_t number, std::string_view suffix = "") {
    std::string text(prefix);
    text.append(std::to_string(number)).append(suffix);
    return text;
}

std::string block_name(std::size_t i) {
    return numbered("block", i);
}

double palette(std::size_t entry, std::size_t channel) {
    return static_cast<double>((entry * 37 + channel * 11) % 64) / 64.0;
}

const char* const modes[] = {"opaque", "blend", "mask", "additive"};

// Feeds one block's ten parameters to a sink with one overload per kind.
template <class Sink>
void describe_block(std::size_t i, std::size_t blocks, Sink& sink) {
    sink.boolean("visible", i % 7 != 0);
    sink.integer("count", static_cast<int>(i % 16));
    sink.unsigned_integer("id", static_cast<unsigned long long>(i) * 7919u + 104729u);
    sink.real("gain", static_cast<float>(i % 1000) * 0.001f + 0.5f, i % 3 == 0 ? "mm" : "");
    const double colour[] = {palette(i % 64, 0), palette(i % 64, 1), palette(i % 64, 2)};
    sink.reals("color", colour);
    const double position[] = {static_cast<double>(i) * 0.5, static_cast<double>(i % 977) * 0.25,
                               -static_cast<double>(i) / 8.0};
    sink.reals("position", position);
    sink.text("label", numbered("label_", i % 100), i % 10 == 0 ? numbered("t", i % 4) : "");
    if (i % 2 == 0) {
        sink.link("target", block_name((i * 31 + 7) % blocks));
    } else {
        sink.reals("scale", colour);
    }
    sink.text("description", numbered("object number ", i, " of the scene"), "");
    sink.text("mode", modes[i % 4], "");
}

// ---------------------------------------------------------------------------
// The sides.

class zel_sink {
  public:
    explicit zel_sink(vorn::zel::zel_block& block) : block_(block) {}
    void boolean(const char* name, bool v) { block_.add_parameter(name, vorn::generic_param(v)); }
    void integer(const char* name, int v) { block_.add_parameter(name, vorn::generic_param(v)); }
    void unsigned_integer(const char* name, unsigned long long v) {
        block_.add_parameter(name, vorn::generic_param(v));
    }
    void real(const char* name, float v, const char* unit) {
        vorn::generic_param p(v);
        p.set_unit(unit);
        block_.add_parameter(name, p);
    }
    void reals(const char* name, const double (&v)[3]) {
        block_.add_parameter(name, vorn::generic_param(v, 3));
    }
    void text(const char* name, const std::string& v, const std::string& tag) {
        vorn::generic_param p(v);
        p.set_tag(tag);
        block_.add_parameter(name, p);
    }
    void link(const char* name, const std::string& target) { block_.add_link(name, target, ""); }

  private:
    vorn::zel::zel_block& block_;
};

class pugi_sink {
  public:
    explicit pugi_sink(pugi::xml_node block) : block_(block) {}
    void boolean(const char* name, bool v) { param(name, "boolean").text().set(v); }
    void integer(const char* name, int v) { param(name, "integer").text().set(v); }
    void unsigned_integer(const char* name, unsigned long long v) {
        param(name, "integer").text().set(v);
    }
    void real(const char* name, float v, const char* unit) {
        pugi::xml_node p = param(name, "double");
        if (*unit != '\0') {
            p.append_attribute("unit") = unit;
        }
        p.text().set(v);
    }
    void reals(const char* name, const double (&v)[3]) {
        char text[96];
        char* end = text;
        for (std::size_t k = 0; k < 3; ++k) {
            if (k != 0) {
                *end++ = ' ';
            }
            end = std::to_chars(end, text + sizeof text - 1, v[k]).ptr;
        }
        *end = '\0';
        param(name, "double3").text().set(text);
    }
    void text(const char* name, const std::string& v, const std::string& tag) {
        pugi::xml_node p = param(name, "string");
        if (!tag.empty()) {
            p.append_attribute("tag") = tag.c_str();
        }
        p.text().set(v.c_str());
    }
    void link(const char* name, const std::string& target) {
        std::string value("#");
        value.append(target);
        param(name, "link").text().set(value.c_str());
    }

  private:
    pugi::xml_node param(const char* name, const char* type) {
        pugi::xml_node p = block_.append_child(name);
        p.append_attribute("type") = type;
        return p;
    }
    pugi::xml_node block_;
};

// ---------------------------------------------------------------------------
// Phases. Each returns the processor and wall time of its one or two steps;
// the peak is taken by the process that ran it.

// The processor time of this process so far, and the wall clock.
struct instant {
    double cpu;
    clock_type::time_point wall;
    static instant now() {
        timespec t{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
        return {static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9,
                clock_type::now()};
    }
};

struct span {
    double cpu = 0;
    double wall = 0;
};

span since(const instant& start) {
    const instant end = instant::now();
    return {end.cpu - start.cpu, std::chrono::duration<double>(end.wall - start.wall).count()};
}

span operator+(const span& a, const span& b) {
    return {a.cpu + b.cpu, a.wall + b.wall};
}

struct phase_result {
    span steps[2];  // the phase's one or two steps
    long peak_kib = 0;
    std::uint64_t bytes = 0;  // what the phase wrote or read
};

long peak_kib() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

struct settings {
    std::size_t blocks = 100000;
    int runs = 3;
    std::string phase;  // one phase only, in this process
    bool keep = false;  // the directory was given, and stays
    fs::path directory;
    fs::path package(bool atomize) const {
        return directory / (atomize ? "scene.zel" : "plain.zel");
    }
    fs::path plain_document() const { return directory / "pugixml.xml"; }
};

phase_result zel_write(const settings& s, bool atomize) {
    phase_result r;
    const instant start = instant::now();
    vorn::zel::zel_file_writer writer(s.package(atomize), false, atomize);
    for (std::size_t i = 0; i < s.blocks; ++i) {
        zel_sink sink(writer.add_block(block_types[i % 8], block_name(i)));
        describe_block(i, s.blocks, sink);
    }
    r.steps[0] = since(start);
    const instant close_start = instant::now();
    writer.close();
    r.steps[1] = since(close_start);
    r.peak_kib = peak_kib();
    r.bytes = fs::file_size(s.package(atomize));
    return r;
}

phase_result zel_read(const settings& s, bool atomize) {
    phase_result r;
    const instant start = instant::now();
    auto reader = std::make_shared<vorn::zela::zel_archive_file_reader>(s.package(atomize));
    const vorn::zel::zel_file_index index(reader, scene_entry);
    r.steps[0] = since(start);
    r.peak_kib = peak_kib();
    if (index.block_count() != s.blocks + 1 ||
        index.get_block(block_name(s.blocks - 1))->parameter_count() != parameters_per_block) {
        throw std::runtime_error("the scene read back is not the scene written");
    }
    r.bytes = reader->get_entry(scene_entry)->size();
    return r;
}

phase_result pugixml_save(const settings& s) {
    phase_result r;
    const instant start = instant::now();
    pugi::xml_document document;
    pugi::xml_node declaration = document.append_child(pugi::node_declaration);
    declaration.append_attribute("version") = "1.0";
    declaration.append_attribute("encoding") = "utf-8";
    pugi::xml_node root = document.append_child("zelfile");
    root.append_attribute("version") = "0.1";
    pugi::xml_node scene = root.append_child("zel");
    for (std::size_t i = 0; i < s.blocks; ++i) {
        pugi::xml_node block = scene.append_child(block_types[i % 8]);
        block.append_attribute("name") = block_name(i).c_str();
        pugi_sink sink(block);
        describe_block(i, s.blocks, sink);
    }
    root.append_child("metazel");
    r.steps[0] = since(start);
    const instant save_start = instant::now();
    if (!document.save_file(s.plain_document().c_str(), "\t")) {
        throw std::runtime_error("pugixml could not save " + s.plain_document().string());
    }
    r.steps[1] = since(save_start);
    r.peak_kib = peak_kib();
    r.bytes = fs::file_size(s.plain_document());
    return r;
}

phase_result pugixml_parse(const settings& s) {
    phase_result r;
    std::ifstream in(s.plain_document(), std::ios::binary);
    std::vector<char> text((std::istreambuf_iterator<char>(in)), {});
    r.bytes = text.size();
    pugi::xml_document document;
    const instant start = instant::now();
    const pugi::xml_parse_result parsed = document.load_buffer_inplace(text.data(), text.size());
    r.steps[0] = since(start);
    r.peak_kib = peak_kib();
    if (!parsed) {
        throw std::runtime_error(std::string("pugixml: ") + parsed.description());
    }
    std::size_t blocks = 0;
    for (pugi::xml_node b = document.child("zelfile").child("zel").first_child(); b;
         b = b.next_sibling()) {
        ++blocks;
    }
    if (blocks != s.blocks) {
        throw std::runtime_error("pugixml read another number of blocks");
    }
    return r;
}

// Ten reads of the package and ten parses of the plain document, one after
// the other in this process; each index and document is released before the
// next read, as a service releases the scene it rendered.
constexpr int rereads = 10;

struct reread_result {
    span zel[rereads];
    span pugixml[rereads];
};

reread_result reread(const settings& s) {
    reread_result r{};
    for (span& time : r.zel) {
        const instant start = instant::now();
        {
            auto reader = std::make_shared<vorn::zela::zel_archive_file_reader>(s.package(true));
            const vorn::zel::zel_file_index index(reader, scene_entry);
            time = since(start);
            if (index.block_count() != s.blocks + 1) {
                throw std::runtime_error("the scene read back is not the scene written");
            }
        }
    }
    std::ifstream in(s.plain_document(), std::ios::binary);
    const std::vector<char> original((std::istreambuf_iterator<char>(in)), {});
    std::vector<char> text;
    for (span& time : r.pugixml) {
        text = original;  // parsing in place changes the text
        pugi::xml_document document;
        const instant start = instant::now();
        const pugi::xml_parse_result parsed =
            document.load_buffer_inplace(text.data(), text.size());
        time = since(start);
        if (!parsed) {
            throw std::runtime_error(std::string("pugixml: ") + parsed.description());
        }
    }
    return r;
}

// The best and the median of n times, by wall or by processor time.
std::pair<double, double> best_and_median(const span* times, int n, double span::*clock) {
    std::vector<double> sorted;
    for (int i = 0; i < n; ++i) {
        sorted.push_back(times[i].*clock);
    }
    std::sort(sorted.begin(), sorted.end());
    return {sorted.front(), (sorted[(n - 1) / 2] + sorted[n / 2]) / 2};
}

void print_reread(const reread_result& r) {
    std::printf("\nlong-lived reader: %d reads in one process\n", rereads);
    std::printf("%-34s %9s %9s %9s %9s\n", "", "best wall", "median", "best cpu", "median");
    const auto row = [](const char* what, const span* times) {
        const auto [wall_best, wall_median] = best_and_median(times, rereads, &span::wall);
        const auto [cpu_best, cpu_median] = best_and_median(times, rereads, &span::cpu);
        std::printf("%-34s %9.3f %9.3f %9.3f %9.3f\n", what, wall_best, wall_median, cpu_best,
                    cpu_median);
        return std::array<double, 4>{wall_best, wall_median, cpu_best, cpu_median};
    };
    const std::array<double, 4> zel = row("zel read package -> index", r.zel);
    const std::array<double, 4> pugi = row("pugixml parse (in place)", r.pugixml);
    std::printf("%-34s %9.2f %9.2f %9.2f %9.2f\n", "pugixml time / zel time", pugi[0] / zel[0],
                pugi[1] / zel[1], pugi[2] / zel[2], pugi[3] / zel[3]);
}

// Runs the phase in a child process and hands back what it measured.
template <typename Result>
Result in_child(const std::function<Result()>& phase) {
    int channel[2];
    if (pipe(channel) != 0) {
        throw std::runtime_error("pipe failed");
    }
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) {
        throw std::runtime_error("fork failed");
    }
    if (child == 0) {
        close(channel[0]);
        int status = 0;
        try {
            const Result r = phase();
            status = write(channel[1], &r, sizeof r) == sizeof r ? 0 : 1;
        } catch (const std::exception& e) {
            std::fprintf(stderr, "scene_bench: %s\n", e.what());
            status = 1;
        }
        _exit(status);
    }
    close(channel[1]);
    Result r;
    const bool got = read(channel[0], &r, sizeof r) == sizeof r;
    close(channel[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (!got || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error("a phase failed");
    }
    return r;
}

// The fastest of the runs, with the highest peak.
phase_result best_of(const settings& s, const std::function<phase_result()>& phase) {
    phase_result best = in_child<phase_result>(phase);
    for (int run = 1; run < s.runs; ++run) {
        const phase_result r = in_child<phase_result>(phase);
        if ((r.steps[0] + r.steps[1]).cpu < (best.steps[0] + best.steps[1]).cpu) {
            const long peak = std::max(best.peak_kib, r.peak_kib);
            best = r;
            best.peak_kib = peak;
        }
    }
    return best;
}

// ---------------------------------------------------------------------------
// The report.

class report {
  public:
    explicit report(const settings& s) : s_(s) {
        std::printf("%-34s %7s %7s %10s %12s %12s %9s\n", "", "cpu s", "wall s", "blocks/s",
                    "parameters/s", "(over wall)", "peak MiB");
    }
    void row(const char* what, const span& time, long peak_kib = -1) const {
        const double blocks = static_cast<double>(s_.blocks);
        const double parameters = blocks * parameters_per_block;
        std::printf("%-34s %7.3f %7.3f %10.0f %12.0f %12.0f", what, time.cpu, time.wall,
                    blocks / time.cpu, parameters / time.cpu, parameters / time.wall);
        if (peak_kib >= 0) {
            std::printf(" %9.1f", static_cast<double>(peak_kib) / 1024.0);
        }
        std::printf("\n");
    }

  private:
    const settings& s_;
};

double mib(std::uint64_t bytes) {
    return static_cast<double>(bytes) / (1024.0 * 1024.0);
}

settings parse_arguments(int argc, char** argv) {
    settings s;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--blocks" && i + 1 < argc) {
            s.blocks = std::stoul(argv[++i]);
        } else if (arg == "--runs" && i + 1 < argc) {
            s.runs = std::stoi(argv[++i]);
        } else if (arg == "--phase" && i + 1 < argc) {
            s.phase = argv[++i];
        } else if (arg == "--directory" && i + 1 < argc) {
            s.directory = argv[++i];
            s.keep = true;
        } else {
            throw std::invalid_argument(
                "usage: scene_bench [--blocks N] [--runs N] [--phase NAME] [--directory DIR]");
        }
    }
    if (s.blocks < 2 || s.runs < 1) {
        throw std::invalid_argument("--blocks needs at least 2 and --runs at least 1");
    }
    return s;
}

// One phase in this process, for a profiler.
void run_phase(const settings& s) {
    const std::pair<const char*, std::function<phase_result()>> phases[] = {
        {"write", [&] { return zel_write(s, true); }},
        {"read", [&] { return zel_read(s, true); }},
        {"write-plain", [&] { return zel_write(s, false); }},
        {"read-plain", [&] { return zel_read(s, false); }},
        {"save", [&] { return pugixml_save(s); }},
        {"parse", [&] { return pugixml_parse(s); }},
    };
    if (s.phase == "reread") {
        print_reread(reread(s));
        return;
    }
    for (const auto& [name, phase] : phases) {
        if (s.phase == name) {
            const phase_result r = phase();
            const report table(s);
            table.row(name, r.steps[0] + r.steps[1], r.peak_kib);
            return;
        }
    }
    throw std::invalid_argument("no phase named " + s.phase);
}

void run(const settings& s) {
    const phase_result write = best_of(s, [&] { return zel_write(s, true); });
    const phase_result read = best_of(s, [&] { return zel_read(s, true); });
    const phase_result write_plain = best_of(s, [&] { return zel_write(s, false); });
    const phase_result read_plain = best_of(s, [&] { return zel_read(s, false); });
    const phase_result save = best_of(s, [&] { return pugixml_save(s); });
    const phase_result parse = best_of(s, [&] { return pugixml_parse(s); });
    const reread_result rereading = in_child<reread_result>([&] { return reread(s); });

    std::printf(
        "scene: %zu blocks of 8 types, %zu parameters each; the fastest of %d runs;\n"
        "rates over processor time, and parameters per second over wall time too\n\n",
        s.blocks, parameters_per_block, s.runs);
    const report table(s);
    table.row("zel writer calls", write.steps[0]);
    table.row("zel writer close", write.steps[1]);
    table.row("zel writer calls + close", write.steps[0] + write.steps[1], write.peak_kib);
    table.row("zel read package -> index", read.steps[0], read.peak_kib);
    table.row("pugixml build", save.steps[0]);
    table.row("pugixml save", save.steps[1]);
    table.row("pugixml build + save", save.steps[0] + save.steps[1], save.peak_kib);
    table.row("pugixml parse (in place)", parse.steps[0], parse.peak_kib);
    std::printf("\nplain document, for the cost of layout and interning:\n");
    table.row("zel writer calls + close, plain", write_plain.steps[0] + write_plain.steps[1],
              write_plain.peak_kib);
    table.row("zel read plain package -> index", read_plain.steps[0], read_plain.peak_kib);

    std::printf(
        "\nsizes: package %.1f MiB (scene document %.1f MiB as text); plain package "
        "%.1f MiB (document %.1f MiB); pugixml's plain document %.1f MiB\n",
        mib(write.bytes), mib(read.bytes), mib(write_plain.bytes), mib(read_plain.bytes),
        mib(save.bytes));
    std::printf(
        "peak memory: ru_maxrss of the process that ran the phase; the processes are\n"
        "forked from a parent that holds %.1f MiB\n",
        static_cast<double>(peak_kib()) / 1024.0);
    print_reread(rereading);
}

}  // namespace

int main(int argc, char** argv) {
    fs::path directory;  // the scratch directory to remove at the end
    try {
        settings s = parse_arguments(argc, argv);
        if (!s.keep) {
            std::string pattern = (fs::temp_directory_path() / "zel-scene-bench-XXXXXX").string();
            if (::mkdtemp(pattern.data()) == nullptr) {
                throw std::runtime_error("cannot make a scratch directory");
            }
            directory = pattern;
            s.directory = directory;
        }
        if (s.phase.empty()) {
            run(s);
        } else {
            run_phase(s);
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "scene_bench: %s\n", e.what());
        if (!directory.empty()) {
            fs::remove_all(directory);
        }
        return 1;
    }
    fs::remove_all(directory);
    return 0;
}
