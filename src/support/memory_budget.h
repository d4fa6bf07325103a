// What one conversion may hold in memory, counted by the structures that
// grow with the document: at most 4 bytes for each byte of input, plus a
// fixed allowance. The input grows as it is read (a document fed to the
// parser piece by piece), or is fixed beforehand (an archive, whose
// document may inflate to far more than its own size). A charge past the
// limit refuses the document, so that no input, however it is written,
// makes the program hold more than its size allows.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "support/conversion_error.h"

namespace morvane {

class MemoryBudget {
public:
    // The counted memory's share of the program's allowance of 64 MiB; the
    // rest is for the program itself and the small things not counted.
    static constexpr std::uint64_t kCountedAllowance = std::uint64_t{48} << 20;
    static constexpr std::uint64_t kPerInputByte = 4;

    explicit MemoryBudget(std::uint64_t allowance = kCountedAllowance) : allowance_(allowance) {}

    // The input read so far; the limit grows with it, unless it is fixed.
    void Read(std::uint64_t bytes) {
        if (!fixed_) input_ = std::max(input_, bytes);
    }
    // The input is `bytes`, whatever is read from now on.
    void FixInput(std::uint64_t bytes) {
        input_ = bytes;
        fixed_ = true;
    }
    void Reset() {
        input_ = 0;
        used_ = 0;
        parser_ = 0;
        fixed_ = false;
    }

    std::uint64_t Limit() const {
        if (input_ > (UINT64_MAX - allowance_) / kPerInputByte) return UINT64_MAX;
        return kPerInputByte * input_ + allowance_;
    }
    // What is counted, the parser's buffer included.
    std::uint64_t Used() const { return used_ + parser_; }
    // Whether `bytes` more would still fit.
    bool Fits(std::uint64_t bytes) const { return bytes <= Limit() && Used() <= Limit() - bytes; }

    // Counts `bytes` more; throws the refusal when they pass the limit.
    void Charge(std::uint64_t bytes) {
        if (!Fits(bytes)) Refuse();
        used_ += bytes;
    }
    // The parser's buffer now takes `bytes`, in place of what it took.
    void HoldForParser(std::uint64_t bytes) {
        parser_ = 0;
        if (!Fits(bytes)) Refuse();
        parser_ = bytes;
    }
    void Release(std::uint64_t bytes) { used_ -= std::min(used_, bytes); }

private:
    [[noreturn]] void Refuse() const {
        throw ConversionError(ErrorKind::kOutOfMemory, "needs more memory than its size allows (" +
                                                           std::to_string(Limit() >> 20) +
                                                           " MiB, 4 bytes for each byte of input)");
    }

    std::uint64_t allowance_;
    std::uint64_t input_ = 0;
    std::uint64_t used_ = 0;
    std::uint64_t parser_ = 0;
    bool fixed_ = false;
};

// An allocator for the containers that grow with a document: what they
// take from the heap, with what the heap adds to each block, is charged to
// a budget (none: nothing is counted).
template <class T>
class Counted {
public:
    using value_type = T;

    Counted(MemoryBudget* budget) noexcept : budget_(budget) {}  // NOLINT: converts on purpose
    template <class U>
    Counted(const Counted<U>& other) noexcept : budget_(other.Budget()) {}

    T* allocate(std::size_t n) {
        if (budget_ != nullptr) budget_->Charge(Bytes(n));
        try {
            return std::allocator<T>().allocate(n);
        } catch (...) {
            if (budget_ != nullptr) budget_->Release(Bytes(n));
            throw;
        }
    }
    void deallocate(T* block, std::size_t n) noexcept {
        std::allocator<T>().deallocate(block, n);
        if (budget_ != nullptr) budget_->Release(Bytes(n));
    }
    MemoryBudget* Budget() const noexcept { return budget_; }
    friend bool operator==(const Counted& a, const Counted& b) noexcept { return a.budget_ == b.budget_; }

private:
    static std::uint64_t Bytes(std::size_t n) { return n * sizeof(T) + kHeapOverhead; }
    static constexpr std::uint64_t kHeapOverhead = 16;

    MemoryBudget* budget_;
};

}  // namespace morvane
