// Stand-in for libFuzzer where it is not available (GCC): replays every file of a seed corpus
// through LLVMFuzzerTestOneInput, then a fixed number of deterministic mutations of them.
// A crash, a sanitizer report or a hang (caught by the test's timeout) is a finding.
//
//   <target> CORPUS_DIR [MUTATIONS] [SEED]
//
// With KESTRAVA_FUZZ_LAST=FILE each input is written to FILE before it runs, so the input of
// a finding is at hand afterwards.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

using Bytes = std::vector<uint8_t>;

// Fragments that reach deeper into JSON and CSV grammars than random bytes do.
const char* const tokens[] = {"\"", "{", "}", "[", "]", ",", ":", "\\", "\\u00e4", "\\ud800", "\n", "\r", "\r\n", "\"\"",
                              "null", "true", "false", "-1", "0", "3", "4", "1e400", "9223372036854775807", "1.5",
                              "\"version\":", "\"sequence\":", "\"photos\":[", "\"sourcePath\":", "\"payload\":",
                              "\"previousHash\":", "file:///",
                              "\"2026-03-01T09:30:00Z\"", "Aussortiert", "Prüfen", "Datei,", "\xff", "\xc3"};

Bytes mutate(Bytes input, std::mt19937_64& random)
{
    const int steps = 1 + int(random() % 4);
    for (int step = 0; step < steps; ++step) {
        const size_t size = input.size();
        const size_t at = size ? random() % (size + 1) : 0;
        switch (random() % 6) {
        case 0: // flip a bit
            if (size)
                input[at % size] ^= uint8_t(1u << (random() % 8));
            break;
        case 1: // insert a random byte
            input.insert(input.begin() + at, uint8_t(random()));
            break;
        case 2: { // erase a range
            if (!size)
                break;
            const size_t from = at % size;
            const size_t length = std::min(size - from, size_t(1 + random() % 16));
            input.erase(input.begin() + from, input.begin() + from + length);
            break;
        }
        case 3: { // duplicate a range
            if (!size)
                break;
            const size_t from = at % size;
            const size_t length = std::min(size - from, size_t(1 + random() % 64));
            Bytes copy(input.begin() + from, input.begin() + from + length);
            input.insert(input.begin() + random() % (size + 1), copy.begin(), copy.end());
            break;
        }
        case 4: { // insert a token
            const std::string token = tokens[random() % std::size(tokens)];
            input.insert(input.begin() + at, token.begin(), token.end());
            break;
        }
        default: // truncate
            input.resize(at);
            break;
        }
    }
    return input;
}

void run(const Bytes& input)
{
    static const char* const lastInputFile = std::getenv("KESTRAVA_FUZZ_LAST");
    if (lastInputFile) {
        std::ofstream out(lastInputFile, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(input.data()), std::streamsize(input.size()));
    }
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s CORPUS_DIR [MUTATIONS] [SEED]\n", argv[0]);
        return 2;
    }
    const long mutations = argc > 2 ? std::strtol(argv[2], nullptr, 10) : 2000;
    const unsigned long long seed = argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 20260301;

    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1]))
        if (entry.is_regular_file())
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    std::vector<Bytes> corpus;
    for (const auto& path : files) {
        std::ifstream in(path, std::ios::binary);
        corpus.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        run(corpus.back());
    }
    if (corpus.empty())
        corpus.emplace_back();

    std::mt19937_64 random(seed);
    for (long i = 0; i < mutations; ++i) {
        // Mostly mutate seeds; sometimes keep mutating the previous result to go deeper.
        static Bytes previous;
        const Bytes& base = (i % 4 == 3 && !previous.empty()) ? previous : corpus[random() % corpus.size()];
        previous = mutate(base, random);
        run(previous);
    }
    std::printf("%zu seeds, %ld mutations: no findings\n", corpus.size(), mutations);
    return 0;
}
