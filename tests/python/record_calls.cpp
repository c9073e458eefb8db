// tests/python/record_calls.cpp: the registry's calls of every kernel at every level, made and written to
// the standard output, for kernels_test.py to make again.
#include "proof/sweep.h"

#include <cstdint>
#include <cstdio>

namespace {

void put(std::uint64_t number) { std::fwrite(&number, sizeof number, 1, stdout); }

void put(const std::vector<unsigned char>& bytes)
{
    put(bytes.size());
    std::fwrite(bytes.data(), 1, bytes.size(), stdout);
}

void put(const std::string& text) { put(std::vector<unsigned char>(text.begin(), text.end())); }

} // namespace

int main()
{
    int disagreements = 0;
    for (const proof::Kernel* kernel : proof::all_kernels())
        for (const rig::Level level : kernel->levels()) {
            std::size_t turn = 0;
            proof::choice(*kernel, [&](const proof::Case& c) {
                if (turn++ % 7 != 0 || c.n > 300)
                    return;
                proof::Record record;
                proof::Call::record = &record;
                const proof::Verdict verdict = proof::check(*kernel, level, c);
                disagreements += verdict.failure.empty() ? 0 : 1;
                if (!verdict.made)
                    return;
                put(std::string(kernel->name));
                put(std::string(rig::name(level)));
                put(c.n);
                put(record.faulted ? 1 : 0);
                put(record.returned);
                put(record.arrays.size());
                for (const auto& piece : record.arrays) {
                    put(piece.element);
                    put(piece.offset);
                    put(piece.before);
                    put(record.faulted ? piece.before : piece.after);
                }
                put(record.numbers.size());
                for (const auto& number : record.numbers)
                    put(number);
            });
        }
    return disagreements == 0 ? 0 : 1;
}
