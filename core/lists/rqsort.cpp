#include "core/lists/rqsort.h"

#include <array>
#include <bit>
#include <cstring>

namespace {

using Compare = int (*)(void*, void*);

/// Stretches this short are sorted by insertion.
constexpr std::size_t kShort = 12;
/// Stretches this long are worth a pivot out of nine.
constexpr std::size_t kLong = 128;

/// Elements of N bytes, or of `size` bytes where N is 0. They are only ever exchanged in pairs or turned round in a
/// ring, and never while a comparison runs, so that one that raises finds all of them in the block.
template <std::size_t N>
class Sorter {
 public:
  Sorter(void* base, std::size_t size, Compare cmp) : base_(static_cast<char*>(base)), size_(size), cmp_(cmp) {}

  void sort(std::size_t begin, std::size_t end, int depth) {
    while (end - begin > kShort) {
      if (depth-- == 0) return heapSort(begin, end);
      const std::size_t pivot = partition(begin, end);
      // The shorter side by recursion, the longer by the loop: the stack stays logarithmic.
      if (pivot - begin < end - pivot) {
        sort(begin, pivot, depth);
        begin = pivot + 1;
      } else {
        sort(pivot + 1, end, depth);
        end = pivot;
      }
    }
    insertionSort(begin, end);
  }

 private:
  std::size_t size() const { return N ? N : size_; }
  char* at(std::size_t place) const { return base_ + place * size(); }
  int compare(std::size_t a, std::size_t b) const { return cmp_(at(a), at(b)); }

  void swap(std::size_t a, std::size_t b) const {
    constexpr std::size_t kChunk = N ? N : 64;
    std::array<char, kChunk> held;
    char* p = at(a);
    char* q = at(b);
    std::size_t left = size();
    for (; left >= kChunk; left -= kChunk, p += kChunk, q += kChunk) {
      std::memcpy(held.data(), p, kChunk);
      std::memmove(p, q, kChunk);
      std::memcpy(q, held.data(), kChunk);
    }
    for (; left > 0; --left, ++p, ++q) {
      const char byte = *p;
      *p = *q;
      *q = byte;
    }
  }

  /// Brings the last element of [first, last] to the front of them.
  void rotateRight(std::size_t first, std::size_t last) const {
    std::array<char, 64> held;
    if (size() > held.size()) {
      for (; last > first; --last) swap(last - 1, last);
      return;
    }
    std::memcpy(held.data(), at(last), size());
    std::memmove(at(first + 1), at(first), (last - first) * size());
    std::memcpy(at(first), held.data(), size());
  }

  void insertionSort(std::size_t begin, std::size_t end) const {
    for (std::size_t i = begin; i + 1 < end; ++i) {
      std::size_t place = i + 1;
      while (place > begin && compare(place - 1, i + 1) > 0) --place;
      if (place <= i) rotateRight(place, i + 1);
    }
  }

  std::size_t median(std::size_t a, std::size_t b, std::size_t c) const {
    if (compare(a, b) < 0) {
      if (compare(b, c) <= 0) return b;
      return compare(a, c) < 0 ? c : a;
    }
    if (compare(b, c) >= 0) return b;
    return compare(a, c) < 0 ? a : c;
  }

  /// Brings the pivot to the front: a median out of the inner part, since what partitions displace lies at the edges.
  void pivotToFront(std::size_t begin, std::size_t end) const {
    const std::size_t quarter = (end - begin) / 4, step = quarter / 4;
    const std::size_t a = begin + quarter, b = a + quarter, c = b + quarter;
    if (end - begin < kLong) return swap(begin, median(a, b, c));
    swap(begin, median(median(a - step, a, a + step), median(b - step, b, b + step), median(c - step, c, c + step)));
  }

  /// Returns where the pivot ends up, with nothing above it to the left and nothing below it to the right. Both scans
  /// stop at elements equal to the pivot, so that many equal ones still halve; both stop at the edges by themselves.
  std::size_t partition(std::size_t begin, std::size_t end) const {
    pivotToFront(begin, end);
    std::size_t low = begin, high = end;
    for (;;) {
      do ++low;
      while (low < high && compare(low, begin) < 0);
      do --high;
      while (high > begin && compare(begin, high) < 0);
      if (low >= high) break;
      swap(low, high);
    }
    if (high != begin) swap(begin, high);
    return high;
  }

  void siftDown(std::size_t begin, std::size_t root, std::size_t count) const {
    for (;;) {
      std::size_t child = 2 * root + 1;
      if (child >= count) return;
      if (child + 1 < count && compare(begin + child, begin + child + 1) < 0) ++child;
      if (compare(begin + root, begin + child) >= 0) return;
      swap(begin + root, begin + child);
      root = child;
    }
  }

  void heapSort(std::size_t begin, std::size_t end) const {
    const std::size_t count = end - begin;
    for (std::size_t root = count / 2; root-- > 0;) siftDown(begin, root, count);
    for (std::size_t left = count; left-- > 1;) {
      swap(begin, begin + left);
      siftDown(begin, 0, left);
    }
  }

  char* base_;
  std::size_t size_;
  Compare cmp_;
};

template <std::size_t N>
void sortCells(void* base, std::size_t count, std::size_t size, Compare cmp) {
  Sorter<N>(base, size, cmp).sort(0, count, 2 * static_cast<int>(std::bit_width(count)));
}

}  // namespace

void rqsort(void* base, std::size_t count, std::size_t size, int (*cmp)(void*, void*)) {
  if (count < 2 || size == 0) return;
  switch (size) {
    case 4:
      return sortCells<4>(base, count, size, cmp);
    case 8:
      return sortCells<8>(base, count, size, cmp);
    case 16:
      return sortCells<16>(base, count, size, cmp);
    default:
      return sortCells<0>(base, count, size, cmp);
  }
}
