#include "kxcert/foundation/bufIter.h"

#include "support/script.h"

namespace {

// A cursor over an area of its own, of which it may be told other lengths.
struct Iter {
  explicit Iter(const Octets &octets) { std::copy(octets.begin(), octets.end(), area); }
  alignas(8) unsigned char area[32] = {};
  pkxl_buf_iter iter = {};
};

// Where in the area; "-" is nowhere.
std::string Place(const Iter &it, const void *at) {
  return at == nullptr ? "-" : std::to_string(static_cast<const unsigned char *>(at) - it.area);
}

TEST(bufIter, DoesWhatTheStepsSay) {
  Script()
      .On("Area", [](const Octets &octets) { return std::make_unique<Iter>(octets); })
      .On("init", [](Iter &it, uint32_t len) { pkxl_buf_iter_init(&it.iter, it.area, len); })
      .On("at", [](Iter &it, uint32_t pos) { it.iter = {it.area, UINT32_MAX, pos, false}; })
      .On("pos", [](Iter &it) { return it.iter.pos; })
      .On("overflow", [](Iter &it) { return it.iter.overflow; })
      .On("atEnd", [](Iter &it) { return pkxl_buf_iter_is_at_end(&it.iter); })
      .On("octets", [](Iter &it, size_t at, size_t len) { return EncodeHex(it.area + at, len); })
      .On("put", [](Iter &it, const Octets &octets, uint32_t align) {
        return pkxl_buf_iter_put(&it.iter, octets.data(), static_cast<uint32_t>(octets.size()), align);
      })
      .On("putItem", [](Iter &it, const std::string &text) {
        std::string own = text;
        const auto len = static_cast<uint32_t>(own.size());
        const pkxl_len_and_buf_t item = {len, reinterpret_cast<unsigned char *>(own.data())};
        return pkxl_put_len_and_buf_on_iter(&it.iter, &item);
      })
      .On("get", [](Iter &it, uint32_t size, uint32_t align) {
        unsigned char octets[8];
        return pkxl_buf_iter_get(&it.iter, octets, size, align) ? EncodeHex(octets, size) : "no";
      })
      .On("getPtr", [](Iter &it, uint32_t size, uint32_t align) {
        void *ptr = it.area;
        const bool got = pkxl_buf_iter_get_ptr(&it.iter, &ptr, size, align);
        EXPECT_EQ(got, ptr != nullptr);
        return Place(it, ptr);
      })
      .On("getItem", [](Iter &it) {
        pkxl_len_and_buf_t item = {};
        const bool got = pkxl_get_buf_ptr_and_len_from_iter(&it.iter, &item);
        EXPECT_EQ(got, item.buf != nullptr);
        return item.buf == nullptr ? "-" : std::to_string(item.len) + " at " + Place(it, item.buf);
      })
      .Run("foundation/bufIter.steps");
}

}  // namespace
