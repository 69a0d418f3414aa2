#include <zax.h>

#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// How often each word occurs in files. Letters are bytes: of ASCII the letters and digits, and all
// others, so that words of any UTF-8 text stay whole.

struct Options {
  std::optional<unsigned> minLength;                          ///< bytes
  std::optional<bool> ignoreCase;                             ///< of ASCII letters
  std::optional<std::string> letters;                         ///< further characters of words
  std::optional<std::vector<std::string>> stopWords;          ///< words to leave out
  std::optional<std::map<std::string, std::string>> replace;  ///< words to count as others
};
ZAX_FIELDS(Options, minLength, ignoreCase, letters, stopWords, replace);

struct Result {
  std::size_t total = 0;
  std::map<std::string, std::size_t> counts;
};
ZAX_FIELDS(Result, total, counts);

namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

class Counter {
 public:
  explicit Counter(const Options& options)
      : minLength_(options.minLength.value_or(0)),
        ignoreCase_(options.ignoreCase.value_or(false)),
        letters_(options.letters.value_or("")),
        replace_(options.replace.value_or(std::map<std::string, std::string>())) {}

  void read(const std::string& path) {
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "r"));
    if (!file) {
      throw zax::ErrnoException("open", __("cannot open %(path)s", "path", path), ZAX_DEBUG_INFO);
    }
    int byte;
    while ((byte = getc_unlocked(file.get())) != EOF) {
      if (isLetter(byte)) {
        word_ += ignoreCase_ ? lower(byte) : static_cast<char>(byte);
      } else {
        endWord();
      }
    }
    if (std::ferror(file.get())) {
      throw zax::ErrnoException("read", __("cannot read %(path)s", "path", path), ZAX_DEBUG_INFO);
    }
    endWord();
  }

  /// The counts, without those of the given words.
  Result finish(const std::vector<std::string>& stopWords) {
    for (const std::string& word : stopWords) result_.counts.erase(word);
    for (const auto& [word, count] : result_.counts) result_.total += count;
    return std::move(result_);
  }

 private:
  bool isLetter(int byte) const {
    return byte >= 0x80 || (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= 'a' && byte <= 'z') || letters_.find(byte) != std::string::npos;
  }

  static char lower(int byte) { return byte >= 'A' && byte <= 'Z' ? byte - 'A' + 'a' : byte; }

  /// Counts the word that has been read, if there is one.
  void endWord() {
    if (word_.empty()) return;
    const auto replacement = replace_.find(word_);
    const std::string& counted = replacement == replace_.end() ? word_ : replacement->second;
    if (counted.size() >= minLength_) ++result_.counts[counted];
    word_.clear();
  }

  unsigned minLength_;
  bool ignoreCase_;
  std::string letters_;
  std::map<std::string, std::string> replace_;
  Result result_;
  std::string word_;
};

Result words(const std::vector<std::string>& files, const std::optional<Options>& given) {
  const Options options = given.value_or(Options());
  Counter counter(options);
  for (const std::string& file : files) counter.read(file);
  return counter.finish(options.stopWords.value_or(std::vector<std::string>()));
}

}  // namespace

ZAX_MODULE(module) {
  module.function("words", words, {"files", "options"}, "How often each word occurs in files.");
}
