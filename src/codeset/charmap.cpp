// Charmap objects: loading a .cmo file into a charmap record, and releasing it.
#include "codeset/charmap.h"

#include <cstring>

#include "frame/lookup.h"
#include "frame/platform.h"
#include "locale/locale_spec.h"

namespace kw::codeset {
namespace {

constinit kw_charmap g_nomem_record{err_number(Err::NoMem), {}, 0xE000, 0, 0, nullptr, {}, nullptr, nullptr, true};
constinit kw_charmap g_nofile_record{err_number(Err::NoFile), {}, 0xE000, 0, 0, nullptr, {}, nullptr, nullptr, true};

void init_static(kw_charmap& cm, Err e) noexcept {
  cm.error = err_number(e);
  cm.name[0] = '\0';
  cm.number = 0xE000;
  cm.is_static = true;
}

// Reads one line into `buf` and drops its last character, which is taken to
// be the newline whatever it is: a last line without a newline loses a real
// character, and a line of 127 characters or more is read in pieces that
// each lose their last character. A CR before the newline goes with it, so
// that files with CR LF line ends read as they do in text mode. False at the
// end of the stream or on a read error.
bool read_line(std::FILE* f, char (&buf)[kCmoLineSize]) noexcept {
  if (kw_ext_fgets(buf, static_cast<int>(kCmoLineSize), f) == nullptr) return false;
  buf[kCmoLineSize - 1] = '\0';
  std::size_t n = std::strlen(buf);
  if (n == 0) return true;  // a zero byte first: nothing to drop
  const bool newline = buf[n - 1] == '\n';
  buf[--n] = '\0';
  if (newline && n > 0 && buf[n - 1] == '\r') buf[--n] = '\0';
  return true;
}

bool starts_with(const char* s, const char* prefix) noexcept {
  return std::strncmp(s, prefix, std::strlen(prefix)) == 0;
}

// A bounded field scanner over one line, in the manner of the C library's
// formatted scanning: numeric and string fields skip leading white space; a
// field that does not scan leaves its target unchanged and stops the scan.
class LineScanner {
 public:
  explicit LineScanner(const char* s) noexcept : p_(s) {}

  bool ok() const noexcept { return ok_; }

  void skip_space() noexcept {
    while (is_space(*p_)) ++p_;
  }
  void character(char& out) noexcept {
    if (!ok_ || *p_ == '\0') return fail();
    out = *p_++;
  }

  void integer(std::int32_t& out) noexcept {
    if (!ok_) return;
    skip_space();
    const char* q = p_;
    bool neg = false;
    if (*q == '-' || *q == '+') neg = *q++ == '-';
    if (!is_digit(*q)) return fail();
    std::int64_t v = 0;
    while (is_digit(*q)) {
      if (v < (std::int64_t{1} << 40)) v = v * 10 + (*q - '0');
      ++q;
    }
    if (neg) v = -v;
    if (v > INT32_MAX) v = INT32_MAX;
    if (v < INT32_MIN) v = INT32_MIN;
    out = static_cast<std::int32_t>(v);
    p_ = q;
  }

  // A run of non-space characters; false (without consuming) when it does
  // not fit in `size` - 1 characters.
  bool word(char* out, std::size_t size) noexcept {
    if (!ok_) return true;
    skip_space();
    if (*p_ == '\0') {
      fail();
      return true;
    }
    std::size_t n = 0;
    while (p_[n] != '\0' && !is_space(p_[n])) ++n;
    if (n >= size) return false;
    std::memcpy(out, p_, n);
    out[n] = '\0';
    p_ += n;
    return true;
  }

  // Up to two hexadecimal digits.
  void hex_byte(std::uint8_t& out) noexcept {
    if (!ok_) return;
    skip_space();
    unsigned v = 0;
    int digits = 0;
    while (digits < 2 && hex_value(*p_) >= 0) v = v * 16 + static_cast<unsigned>(hex_value(*p_++)), ++digits;
    if (digits == 0) return fail();
    out = static_cast<std::uint8_t>(v);
  }

 private:
  static bool is_space(char c) noexcept { return c == ' ' || (c >= '\t' && c <= '\r'); }
  static bool is_digit(char c) noexcept { return c >= '0' && c <= '9'; }
  static int hex_value(char c) noexcept {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  }
  void fail() noexcept { ok_ = false; }

  const char* p_;
  bool ok_ = true;
};

// The header. A third line that is not HEADER_LENGTH=, or a header that
// ends before its promised lines, is not a charmap object (BadType); a
// length that does not scan reads as 3, a length below 3 reads no further
// line.
Err read_header(kw_charmap& cm, std::FILE* f) noexcept {
  char line[kCmoLineSize];
  if (!read_line(f, line) || std::strcmp(line, kCmoFileType) != 0) return Err::BadType;
  if (!read_line(f, line) || std::strcmp(line, kCmoCompilerVersion) != 0) return Err::BadVersion;
  cm.compiler_version = kCmoVersion;
  if (!read_line(f, line) || !starts_with(line, kCmoHeaderLength)) return Err::BadType;
  std::int32_t header_length = 3;
  LineScanner(line + std::strlen(kCmoHeaderLength)).integer(header_length);
  for (std::int32_t i = 3; i < header_length; ++i) {
    if (!read_line(f, line)) return Err::BadType;
    if (starts_with(line, kCmoCodeset)) {
      const char* value = line + std::strlen(kCmoCodeset);
      std::size_t n = std::strlen(value);
      if (n > kCodesetNameSize - 1) n = kCodesetNameSize - 1;
      std::memcpy(cm.name, value, n);
      cm.name[n] = '\0';
    } else if (starts_with(line, kCmoSourceVersion)) {
      LineScanner(line + std::strlen(kCmoSourceVersion)).integer(cm.source_version);
    }
  }
  return Err::None;
}

// One body line. The kind is the line's first character, blank or not (a
// blank kind is unknown); an empty line carries nothing. Byte counts outside
// 1..4 and ranges of more than kMaxRangeCount characters are malformed
// (BadType), like names of 71 characters or more and unknown kinds.
Err read_entry(kw_charmap& cm, const char* line) noexcept {
  if (line[0] == '\0') return Err::None;
  LineScanner scan(line);
  char kind = 0;
  std::int32_t format = 0;
  char name[kSymbolNameSize] = {};
  scan.character(kind);
  scan.integer(format);
  if (!scan.word(name, kMaxSymbolName + 1)) return Err::BadType;  // name of 71 or more
  std::int32_t first_number = 0;
  std::int32_t count = 0;
  if (kind == kKindRange) {
    scan.integer(first_number);
    scan.integer(count);
  } else if (kind != kKindSymbol) {
    return Err::BadType;
  }
  std::int32_t nbytes = 0;
  scan.integer(nbytes);
  if (nbytes < 1 || nbytes > static_cast<std::int32_t>(kMaxSequence)) return Err::BadType;
  ByteSeq seq{static_cast<std::uint32_t>(nbytes), {0, 0, 0, 0}};
  for (std::int32_t i = 0; i < nbytes; ++i) scan.hex_byte(seq.bytes[i]);
  if (kind == kKindSymbol) return cm_add_symbol(cm, name, seq);
  return cm_add_range(cm, name, first_number, count, format, seq);
}

Err append(Vec<SymbolEntry>& bucket, const SymbolEntry& e) noexcept {
  return bucket.push_back(e) ? Err::None : Err::NoMem;
}

void copy_name(char (&out)[kSymbolNameSize], const char* name) noexcept {
  std::size_t n = std::strlen(name);
  if (n > kMaxSymbolName) n = kMaxSymbolName;
  std::memcpy(out, name, n);
  std::memset(out + n, 0, kSymbolNameSize - n);
}

// Builds the file name: the number as four lower-case hexadecimal digits and
// ".cmo", or the given name for an unknown code set.
bool file_name(char (&out)[kMaxObjectPath], std::uint16_t number, const char* name, int length) noexcept {
  if (number != 0xE000) {
    static constexpr char kHex[] = "0123456789abcdef";
    for (int i = 0; i < 4; ++i) out[i] = kHex[(number >> (12 - 4 * i)) & 0xF];
    std::memcpy(out + 4, ".cmo", 5);
    return true;
  }
  std::size_t n = 0;
  while ((length < 0 || n < static_cast<std::size_t>(length)) && n < kMaxObjectPath && name[n] != '\0') ++n;
  if (n == 0 || n >= kMaxObjectPath) return false;
  std::memcpy(out, name, n);
  out[n] = '\0';
  return true;
}

std::FILE* open_charmap(kw_charmap* cm, const char* fname, const char* directory) noexcept {
  if (directory == nullptr) return kw_find_object(cm, fname, "cm", "3", 0);
  char path[kMaxObjectPath];
  const std::size_t d = std::strlen(directory);
  const std::size_t f = std::strlen(fname);
  if (d + 1 + f >= sizeof path) return nullptr;
  std::memcpy(path, directory, d);
  path[d] = kw::platform::kSeparator;
  std::memcpy(path + d + 1, fname, f + 1);
  return kw_open_escaped(cm, path);
}

void release_table(SymbolTable* t) noexcept { free_object(t); }

}  // namespace

ByteSeq seq_add(const ByteSeq& s, std::int64_t addend) noexcept {
  ByteSeq r = s;
  const std::uint32_t n = s.count > kMaxSequence ? kMaxSequence : s.count;
  std::int64_t carry = addend;
  for (std::uint32_t k = n; k-- > 0;) {
    // Each byte takes the low 8 bits of what is left of the addend plus the
    // carry; the rest moves on to the next more significant byte.
    const std::int64_t sum = static_cast<std::int64_t>(r.bytes[k]) + (carry & 0xFF);
    r.bytes[k] = static_cast<std::uint8_t>(sum & 0xFF);
    carry = (carry >> 8) + (sum >> 8);  // arithmetic shift: borrows stay negative
  }
  return r;
}

std::size_t name_hash(const char* name) noexcept {
  std::int32_t sum = 0;
  for (const char* p = name; *p != '\0'; ++p) sum += static_cast<std::int8_t>(*p);
  std::int32_t r = sum % static_cast<std::int32_t>(kBuckets);
  if (r < 0) r += static_cast<std::int32_t>(kBuckets);
  return static_cast<std::size_t>(r);
}

std::size_t seq_hash(const ByteSeq& s) noexcept {
  std::uint32_t sum = 0;
  for (std::uint32_t i = 0; i < s.count && i < kMaxSequence; ++i) sum += s.bytes[i];
  return sum % kBuckets;
}

// Calls on a static record may store other errors in its slot; each time
// one is handed out for a failed load, its slot is set back to its reason.
kw_charmap* static_nomem_charmap() noexcept {
  init_static(g_nomem_record, Err::NoMem);
  return &g_nomem_record;
}
kw_charmap* static_nofile_charmap() noexcept {
  init_static(g_nofile_record, Err::NoFile);
  return &g_nofile_record;
}

void reset_charmap_for_tests() noexcept {
  init_static(g_nomem_record, Err::NoMem);
  init_static(g_nofile_record, Err::NoFile);
}

Err cm_add_symbol(kw_charmap& cm, const char* name, const ByteSeq& seq) noexcept {
  SymbolEntry e{};
  e.kind = static_cast<std::uint32_t>(kKindSymbol);
  copy_name(e.name, name);
  e.seq = seq;
  e.first_range = e.last_range = -1;
  if (Err err = append(cm.names->buckets[name_hash(e.name)], e); err != Err::None) return err;
  if (Err err = append(cm.seqs->buckets[seq_hash(seq)], e); err != Err::None) return err;
  return automaton_insert(*cm.automaton, seq.bytes, seq.count, nullptr);
}

const SymbolEntry* find_range_entry(const kw_charmap& cm, const char* name) noexcept {
  if (cm.names == nullptr) return nullptr;
  for (const SymbolEntry& e : cm.names->buckets[name_hash(name)]) {
    if (e.kind == static_cast<std::uint32_t>(kKindRange) && std::strcmp(e.name, name) == 0) return &e;
  }
  return nullptr;
}

Err cm_add_range(kw_charmap& cm, const char* name, std::int32_t first_number, std::int32_t count,
                 std::int32_t format, const ByteSeq& first) noexcept {
  if (count > kMaxRangeCount) return Err::BadType;
  RangeRecord r{};
  r.count = count;
  r.first = first;
  r.first_number = first_number;
  r.format = format;
  r.next_same_name = -1;
  copy_name(r.name, name);
  if (!cm.ranges.push_back(r)) return Err::NoMem;
  const auto index = static_cast<std::int32_t>(cm.ranges.size() - 1);
  for (std::int32_t i = 0; i < count; ++i) {
    const ByteSeq s = seq_add(first, i);
    if (Err e = automaton_insert(*cm.automaton, s.bytes, s.count, nullptr); e != Err::None) return e;
  }
  Vec<SymbolEntry>& bucket = cm.names->buckets[name_hash(r.name)];
  for (SymbolEntry& e : bucket) {
    if (e.kind == static_cast<std::uint32_t>(kKindRange) && std::strcmp(e.name, r.name) == 0) {
      cm.ranges[static_cast<std::size_t>(e.last_range)].next_same_name = index;
      e.last_range = index;
      return Err::None;
    }
  }
  SymbolEntry e{};
  e.kind = static_cast<std::uint32_t>(kKindRange);
  copy_name(e.name, r.name);
  e.seq = first;
  e.first_range = e.last_range = index;
  return append(bucket, e);
}

Err cm_read(kw_charmap& cm, std::FILE* f) noexcept {
  if (Err e = read_header(cm, f); e != Err::None) return e;
  char line[kCmoLineSize];
  if (!read_line(f, line)) return Err::None;  // the line after the header is not examined
  while (read_line(f, line)) {
    if (Err e = read_entry(cm, line); e != Err::None) return e;
  }
  return Err::None;
}

Err cm_load(kw_charmap** result, const char* name, int length, const char* directory) noexcept {
  kw_charmap* cm = alloc_object<kw_charmap>();
  if (cm == nullptr) {
    *result = static_nomem_charmap();
    return Err::NoMem;
  }
  cm->error = 0;
  cm->name[0] = '\0';
  cm->source_version = 0;
  cm->compiler_version = 0;
  cm->automaton = nullptr;
  cm->names = cm->seqs = nullptr;
  cm->is_static = false;

  // The lookup's own failure is expected (an unknown name is a file name),
  // so no handle is passed and nothing is stored.
  std::uint16_t number = 0xE000;
  if (name != nullptr) number = kw::locale::lc_spec2cs_num(nullptr, name, length, nullptr);
  char fname[kMaxObjectPath];
  std::FILE* f = nullptr;
  if (name != nullptr && file_name(fname, number, name, length)) f = open_charmap(cm, fname, directory);
  if (f == nullptr) {
    free_object(cm);
    *result = static_nofile_charmap();
    return Err::NoFile;
  }
  cm->number = number;
  *result = cm;

  Err err = Err::None;
  if (auto a = automaton_create(2, nullptr); a.ok()) {
    cm->automaton = *a;
  } else {
    err = a.error();
  }
  if (err == Err::None) {
    cm->seqs = alloc_object<SymbolTable>();
    if (cm->seqs != nullptr) cm->names = alloc_object<SymbolTable>();
    if (cm->names == nullptr) {
      release_table(cm->seqs);
      cm->seqs = nullptr;
      err = Err::NoMem;
    }
  }
  if (err == Err::None) err = cm_read(*cm, f);
  if (err != Err::None) {
    automaton_release(cm->automaton);
    cm->automaton = nullptr;
  }
  // Closed with the C library directly, not through the hook table: the
  // stream came from kw_ext_fopen, and this is how charmap streams are closed.
  std::fclose(f);
  return err;
}

void cm_unload(kw_charmap* cm) noexcept {
  if (cm == nullptr || cm->is_static || cm == &g_nomem_record || cm == &g_nofile_record) return;
  automaton_release(cm->automaton);
  release_table(cm->names);
  release_table(cm->seqs);
  free_object(cm);
}

}  // namespace kw::codeset
