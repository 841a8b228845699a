// Reading POSIX locale definition sources.
#include "locale_source.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>

namespace kw::localedef {

const char* const kStandardClasses[11] = {"upper", "lower", "alpha", "digit", "space", "cntrl",
                                          "punct", "graph", "print", "xdigit", "blank"};

ItemCategory& LocaleDef::items(Category c) {
  switch (c) {
    case Category::Numeric: return numeric;
    case Category::Monetary: return monetary;
    case Category::Time: return time;
    default: return messages;
  }
}
const ItemCategory& LocaleDef::items(Category c) const {
  return const_cast<LocaleDef*>(this)->items(c);
}

namespace {

struct CategoryName {
  const char* name;
  int used;  // 0 skipped, 1 CTYPE, 2 COLLATE, 3 item category
  Category cat;
};

constexpr CategoryName kCategories[] = {
    {"LC_CTYPE", 1, Category::Ctype},         {"LC_COLLATE", 2, Category::Collate},
    {"LC_NUMERIC", 3, Category::Numeric},     {"LC_MONETARY", 3, Category::Monetary},
    {"LC_TIME", 3, Category::Time},           {"LC_MESSAGES", 3, Category::Messages},
    {"LC_PAPER", 0, Category::Count},         {"LC_NAME", 0, Category::Count},
    {"LC_ADDRESS", 0, Category::Count},       {"LC_TELEPHONE", 0, Category::Count},
    {"LC_MEASUREMENT", 0, Category::Count},   {"LC_IDENTIFICATION", 0, Category::Count},
};

// CTYPE keywords the library has no place for: read and dropped.
constexpr const char* kIgnoredCtype[] = {"outdigit", "class_symbol", "width",
                                         "default_missing", "translit_ignore", "include_translit"};

std::string first_word(const std::string& line, std::size_t& end) {
  std::size_t i = 0;
  while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) ++i;
  std::size_t j = i;
  while (j < line.size() && line[j] != ' ' && line[j] != '\t') ++j;
  end = j;
  return line.substr(i, j - i);
}

// A name given as a word or a string: the word's text, or the string's
// characters taken as bytes.
std::string token_name(const Token& t) {
  std::string name = t.text;
  if (t.kind == Tok::String)
    for (std::uint32_t c : t.chars) name.push_back(static_cast<char>(c));
  return name;
}

std::string rest_word(const std::string& line, std::size_t from) {
  std::size_t end;
  return first_word(line.substr(from), end);
}

class FileParser {
 public:
  FileParser(SourceReader& reader, const std::string& path, const std::string& text,
             LocaleDef& out, Category only)
      : reader_(reader), lines_(path, text, true), out_(out), only_(only) {
    lines_.comment_char = '#';
    lines_.escape_char = '\\';
  }

  void run();

 private:
  [[noreturn]] void fail(const std::string& msg) const { throw SourceError(lines_.file(), line_no_, msg); }

  bool conditional(const std::string& key);
  void category_line(const std::string& key, const std::vector<Token>& toks);
  void ctype_line(const std::string& key, const std::vector<Token>& toks);
  void item_line(const std::string& key, const std::vector<Token>& toks);
  void copy_category(const std::vector<Token>& toks, bool include);
  Ranges char_list(const std::vector<Token>& toks, std::size_t from);
  void add_case_pairs(const std::string& map, const std::vector<Token>& toks, std::size_t from);
  void add_class(const std::string& name, const Ranges& r);

  SourceReader& reader_;
  LineReader lines_;
  LocaleDef& out_;
  Category only_;  // the one category wanted (a copy), or Count for all
  bool skip_ = false;  // the open category's lines are not read
  std::string line_;
  int line_no_ = 0;

  const CategoryName* cat_ = nullptr;  // the open category, null at top level
  int cat_line_ = 0;                   // where it opened
  bool copied_ = false;                // the open item category was taken by copy
  std::vector<std::string> declared_;  // charclass names of this file
  std::vector<std::string> maps_;      // charconv names of this file: their lines are dropped
  // Conditional stack: each level is (this branch active, some branch taken).
  std::vector<std::pair<bool, bool>> cond_;
};

bool FileParser::conditional(const std::string& key) {
  std::size_t end;
  first_word(line_, end);
  if (key == "ifdef" || key == "ifndef") {
    const bool outer = cond_.empty() || cond_.back().first;
    const bool def = reader_.defines.count(rest_word(line_, end)) > 0;
    const bool on = outer && (key == "ifdef" ? def : !def);
    cond_.emplace_back(on, on || !outer);
    return true;
  }
  if (key == "elif" || key == "else") {
    if (cond_.empty()) fail(key + " without ifdef");
    const bool outer = cond_.size() < 2 || cond_[cond_.size() - 2].first;
    bool on = outer && !cond_.back().second;
    if (key == "elif") on = on && reader_.defines.count(rest_word(line_, end)) > 0;
    cond_.back().first = on;
    if (on) cond_.back().second = true;
    return true;
  }
  if (key == "endif") {
    if (cond_.empty()) fail("endif without ifdef");
    cond_.pop_back();
    return true;
  }
  return false;
}

void FileParser::run() {
  while (lines_.next(line_, line_no_)) {
    std::size_t end;
    const std::string key = first_word(line_, end);
    if (key.empty()) continue;
    // Skipped material is only scanned for the line that ends it.
    if (cat_ != nullptr && skip_) {
      if (key == "END" && rest_word(line_, end) == cat_->name) cat_ = nullptr;
      continue;
    }
    if (conditional(key)) continue;
    if (!cond_.empty() && !cond_.back().first) continue;
    if (key == "comment_char" || key == "escape_char") {
      const std::string v = rest_word(line_, end);
      if (v.size() != 1) fail(key + " needs a single character");
      (key == "comment_char" ? lines_.comment_char : lines_.escape_char) = v[0];
      continue;
    }
    if (key == "define") {
      reader_.defines.insert(rest_word(line_, end));
      continue;
    }
    if (key == "undef") {
      reader_.defines.erase(rest_word(line_, end));
      continue;
    }
    if (cat_ == nullptr) {
      const CategoryName* found = nullptr;
      for (const CategoryName& c : kCategories)
        if (key == c.name) found = &c;
      if (found == nullptr) {
        if (key == "END") fail("END outside a category");
        fail("unknown keyword '" + key + "' outside a category");
      }
      cat_ = found;
      cat_line_ = line_no_;
      copied_ = false;
      skip_ = found->used == 0 || found->used == 2 || (only_ != Category::Count && found->cat != only_);
      if (skip_ && found->used == 2 && only_ == Category::Count) out_.collate_present = true;
      if (skip_) continue;
      if (found->used == 1) out_.ctype.present = true;
      else if (found->used == 2) out_.collate_present = true;
      else if (found->used == 3) out_.items(found->cat).present = true;
      continue;
    }
    if (key == "END") {
      const std::string what = rest_word(line_, end);
      if (what != cat_->name) fail("END " + what + " inside " + cat_->name);
      cat_ = nullptr;
      continue;
    }
    if (key == "translit_start") {
      // Transliteration tables are not used: skip to translit_end.
      int start = line_no_;
      bool closed = false;
      while (lines_.next(line_, line_no_)) {
        if (first_word(line_, end) == "translit_end") {
          closed = true;
          break;
        }
      }
      if (!closed) {
        line_no_ = start;
        fail("translit_start without translit_end");
      }
      continue;
    }
    const std::vector<Token> toks = tokenize(line_, lines_.escape_char, reader_.symbols, lines_.file(), line_no_);
    category_line(key, toks);
  }
  if (cat_ != nullptr) {
    line_no_ = cat_line_;
    fail(std::string(cat_->name) + " without END " + cat_->name);
  }
  if (!cond_.empty()) fail("ifdef without endif");
}

void FileParser::category_line(const std::string& key, const std::vector<Token>& toks) {
  if (key == "copy" || key == "include") {
    copy_category(toks, key == "include");
    return;
  }
  if (cat_->used == 1) ctype_line(key, toks);
  else item_line(key, toks);
}

void FileParser::copy_category(const std::vector<Token>& toks, bool include) {
  if (toks.size() < 2 || toks[1].kind != Tok::String) fail(toks[0].text + " needs a file name string");
  std::string name;
  for (std::uint32_t c : toks[1].chars) {
    if (c >= 0x80) fail("non-ASCII file name in " + toks[0].text);
    name.push_back(static_cast<char>(c));
  }
  const std::string path = reader_.resolve(name, lines_.file());
  if (path.empty()) fail("cannot find '" + name + "' for " + toks[0].text);
  std::shared_ptr<const LocaleDef> src;
  try {
    src = reader_.read_category(path, cat_->cat);
  } catch (const SourceError& e) {
    if (e.line() == 0) fail(e.what());
    throw;
  }
  if (cat_->used == 1) {
    if (!src->ctype.present) fail("'" + name + "' has no " + cat_->name);
    for (const std::string& cls : src->ctype.class_order) add_class(cls, src->ctype.classes.at(cls));
    out_.ctype.toupper.insert(out_.ctype.toupper.end(), src->ctype.toupper.begin(), src->ctype.toupper.end());
    out_.ctype.tolower.insert(out_.ctype.tolower.end(), src->ctype.tolower.begin(), src->ctype.tolower.end());
    return;
  }
  const ItemCategory& from = src->items(cat_->cat);
  if (!from.present) fail("'" + name + "' has no " + cat_->name);
  ItemCategory& to = out_.items(cat_->cat);
  if (include) {
    for (const auto& [k, v] : from.items) to.items.insert_or_assign(k, v);
  } else {
    to = from;
    copied_ = true;
  }
}

void FileParser::add_class(const std::string& name, const Ranges& r) {
  auto [it, fresh] = out_.ctype.classes.try_emplace(name);
  if (fresh) out_.ctype.class_order.push_back(name);
  it->second.insert(it->second.end(), r.begin(), r.end());
}

Ranges FileParser::char_list(const std::vector<Token>& toks, std::size_t from) {
  Ranges out;
  std::size_t i = from;
  while (i < toks.size()) {
    const Token& t = toks[i];
    if (t.kind == Tok::Semi) {
      ++i;
      continue;
    }
    if (t.kind != Tok::Char && !(t.kind == Tok::String && t.chars.size() == 1))
      fail("character expected in list, found '" + (t.text.empty() ? std::string("string") : t.text) + "'");
    const std::uint32_t lo = t.chars[0];
    if (i + 1 < toks.size() && toks[i + 1].kind == Tok::Ellipsis) {
      if (i + 2 >= toks.size() || toks[i + 2].kind != Tok::Char) fail("range without an end character");
      const std::uint32_t hi = toks[i + 2].chars[0];
      if (lo >= kNamedBase || hi >= kNamedBase) fail("range ends must be <U...> characters");
      if (hi < lo) fail("range runs backwards");
      out.emplace_back(lo, hi);
      i += 3;
    } else {
      out.emplace_back(lo, lo);
      ++i;
    }
  }
  return out;
}

// Appends the case pairs "(<from>,<to>)" of toks[from...] to the "toupper"
// or the "tolower" map.
void FileParser::add_case_pairs(const std::string& map, const std::vector<Token>& toks, std::size_t from) {
  std::vector<std::pair<std::uint32_t, std::uint32_t>> pairs;
  std::size_t i = from;
  while (i < toks.size()) {
    if (toks[i].kind == Tok::Semi) {
      ++i;
      continue;
    }
    if (i + 4 >= toks.size() || toks[i].kind != Tok::LParen || toks[i + 1].kind != Tok::Char ||
        toks[i + 2].kind != Tok::Comma || toks[i + 3].kind != Tok::Char || toks[i + 4].kind != Tok::RParen)
      fail("malformed case pair: (<from>,<to>) expected");
    pairs.emplace_back(toks[i + 1].chars[0], toks[i + 3].chars[0]);
    i += 5;
  }
  auto& to = map == "toupper" ? out_.ctype.toupper : out_.ctype.tolower;
  to.insert(to.end(), pairs.begin(), pairs.end());
}

void FileParser::ctype_line(const std::string& key, const std::vector<Token>& toks) {
  for (const char* k : kIgnoredCtype)
    if (key == k) return;
  if (std::find(maps_.begin(), maps_.end(), key) != maps_.end()) return;
  if (key == "charconv") {
    for (std::size_t i = 1; i < toks.size(); ++i)
      if (toks[i].kind == Tok::Word) maps_.push_back(toks[i].text);
    return;
  }
  if (key == "charclass") {
    for (std::size_t i = 1; i < toks.size(); ++i) {
      if (toks[i].kind == Tok::Semi) continue;
      if (toks[i].kind != Tok::Word && toks[i].kind != Tok::String) fail("class name expected after charclass");
      const std::string name = token_name(toks[i]);
      declared_.push_back(name);
      // Declaration order decides which classes get the few named bits.
      add_class(name, {});
    }
    return;
  }
  if (key == "toupper" || key == "tolower") {
    add_case_pairs(key, toks, 1);
    return;
  }
  if (key == "map") {
    // map "toupper"; ... or map toupper; ... ; other maps are not used.
    if (toks.size() < 2) fail("map needs a name");
    const std::string name = token_name(toks[1]);
    if (name == "toupper" || name == "tolower") add_case_pairs(name, toks, 2);
    return;
  }
  if (key == "class") {
    if (toks.size() < 2 || toks[1].kind != Tok::String) fail("class needs a name string");
    const std::string name = token_name(toks[1]);
    std::size_t from = 2;
    if (from < toks.size() && toks[from].kind == Tok::Semi) ++from;
    add_class(name, char_list(toks, from));
    return;
  }
  bool known = std::find(declared_.begin(), declared_.end(), key) != declared_.end() ||
               out_.ctype.classes.count(key) > 0;
  for (const char* s : kStandardClasses) known = known || key == s;
  if (!known) fail("unknown keyword '" + key + "' in LC_CTYPE");
  add_class(key, char_list(toks, 1));
}

void FileParser::item_line(const std::string& key, const std::vector<Token>& toks) {
  if (copied_) fail(std::string("'") + key + "' after copy in " + cat_->name);
  Item item;
  item.file = lines_.file();
  item.line = line_no_;
  bool want_value = true;
  for (std::size_t i = 1; i < toks.size(); ++i) {
    const Token& t = toks[i];
    if (t.kind == Tok::Semi) {
      if (want_value) fail("empty value in '" + key + "'");
      want_value = true;
      continue;
    }
    if (!want_value) fail("';' expected between values of '" + key + "'");
    Value v;
    if (t.kind == Tok::String || t.kind == Tok::Char) {
      v.is_string = true;
      v.str = t.chars;
    } else if (t.kind == Tok::Word) {
      v.word = t.text;
      char* endp = nullptr;
      const long n = std::strtol(t.text.c_str(), &endp, 10);
      if (endp != nullptr && *endp == 0 && !t.text.empty()) {
        v.number = n;
        v.numeric = true;
      }
    } else {
      fail("unexpected punctuation in '" + key + "'");
    }
    item.values.push_back(std::move(v));
    want_value = false;
  }
  // A trailing ';' (as in "mon_grouping 3;2;") is tolerated.
  out_.items(cat_->cat).items.insert_or_assign(key, std::move(item));
}

}  // namespace

std::string SourceReader::resolve(const std::string& name, const std::string& from) const {
  namespace fs = std::filesystem;
  std::error_code ec;
  if (name.find('/') != std::string::npos) return fs::is_regular_file(name, ec) ? name : std::string();
  const fs::path here = fs::path(from).parent_path() / name;
  if (fs::is_regular_file(here, ec)) return here.string();
  for (const std::string& d : dirs_) {
    const fs::path p = fs::path(d) / name;
    if (fs::is_regular_file(p, ec)) return p.string();
  }
  return {};
}

std::shared_ptr<const LocaleDef> SourceReader::read(const std::string& path) {
  return parse(path, nullptr, Category::Count);
}

std::shared_ptr<const LocaleDef> SourceReader::read_text(const std::string& path, const std::string& text) {
  return parse(path, &text, Category::Count);
}

std::shared_ptr<const LocaleDef> SourceReader::read_category(const std::string& path, Category c) {
  return parse(path, nullptr, c);
}

std::shared_ptr<const LocaleDef> SourceReader::parse(const std::string& path, const std::string* text, Category c) {
  // Copies are followed category by category: en_US copies LC_CTYPE from
  // en_GB, which copies other categories from en_US.
  const std::string key = path + "#" + std::to_string(static_cast<int>(c));
  const auto it = cache_.find(key);
  if (it != cache_.end()) return it->second;
  if (std::find(reading_.begin(), reading_.end(), key) != reading_.end())
    throw SourceError(path, 0, "copy cycle through this file");
  reading_.push_back(key);
  auto src = std::make_shared<LocaleDef>();
  src->file = path;
  try {
    const std::string body = text != nullptr ? *text : read_source_file(path);
    FileParser(*this, path, body, *src, c).run();
  } catch (...) {
    reading_.pop_back();
    throw;
  }
  reading_.pop_back();
  cache_[key] = src;
  return src;
}

}  // namespace kw::localedef
