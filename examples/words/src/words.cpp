#include <cstdio>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "zax-v8-argument-list.h"

// words(files, options, callback) as a job and wordsSync(files, options, callback): how often each
// word occurs in the files. Letters are bytes: of ASCII the letters and digits, and all others, so
// that words of any UTF-8 text stay whole.

using Counts = std::map<std::string, unsigned long>;

struct Options {
  unsigned int minLength = 0;                  ///< bytes
  bool ignoreCase = false;                     ///< of ASCII letters
  std::string letters;                         ///< further characters that belong to words
  std::list<std::string> stopWords;            ///< words to leave out
  std::map<std::string, std::string> replace;  ///< words to count as others
};

/// Makes Options a parameter type of bound functions: an object, or `undefined` for the defaults.
template <>
struct zax::ArgumentConverter<Options> {
  static void convert(Options& out, const v8::Local<v8::Value>& value) {
    if (value->IsUndefined()) return;
    v8::Local<v8::Value> object = value;
    getChildInt(out.minLength, "minLength", object);
    getChildBoolean(out.ignoreCase, "ignoreCase", object);
    getChildString(out.letters, "letters", object);
    getChildStringList(out.stopWords, "stopWords", object);
    getChildStringMap(out.replace, "replace", object);
  }
};

namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

class Counter {
 public:
  explicit Counter(const Options& options) : options_(options) {}

  void read(const std::string& path) {
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "r"));
    if (!file) {
      throw zax::ErrnoException("open", __("cannot open %(path)s", "path", path), ZAX_DEBUG_INFO);
    }
    int byte;
    while ((byte = getc_unlocked(file.get())) != EOF) {
      if (isLetter(byte)) {
        word_ += options_.ignoreCase ? lower(byte) : static_cast<char>(byte);
      } else {
        endWord();
      }
    }
    if (std::ferror(file.get())) {
      throw zax::ErrnoException("read", __("cannot read %(path)s", "path", path), ZAX_DEBUG_INFO);
    }
    endWord();
  }

  /// The counts, without those of the stop words.
  Counts finish() {
    for (const std::string& word : options_.stopWords) counts_.erase(word);
    return std::move(counts_);
  }

 private:
  bool isLetter(int byte) const {
    return byte >= 0x80 || (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= 'a' && byte <= 'z') || options_.letters.find(byte) != std::string::npos;
  }

  static char lower(int byte) { return byte >= 'A' && byte <= 'Z' ? byte - 'A' + 'a' : byte; }

  /// Counts the word that has been read, if there is one.
  void endWord() {
    if (word_.empty()) return;
    const auto replacement = options_.replace.find(word_);
    const std::string& counted =
        replacement == options_.replace.end() ? word_ : replacement->second;
    if (counted.size() >= options_.minLength) ++counts_[counted];
    word_.clear();
  }

  const Options& options_;
  Counts counts_;
  std::string word_;
};

/// What both forms do. Touches no V8, so any thread may call it.
Counts countWords(const std::list<std::string>& files, const Options& options) {
  Counter counter(options);
  for (const std::string& file : files) counter.read(file);
  return counter.finish();
}

void wordsSync(std::list<std::string> files, Options options, zax::Callback callback) {
  callback.call(countWords(files, options));
}

class Words : public zax::Binding<Words> {
 public:
  static Words* create(std::list<std::string> files, Options options, zax::Callback callback) {
    return new Words(callback, files, options);
  }

  void beginJob() override { counts_ = countWords(files_, options_); }

  void afterJob() override { callback.call(counts_); }

 private:
  Words(const zax::Callback& callback, const std::list<std::string>& files, const Options& options)
      : Binding(callback), files_(files), options_(options) {}

  std::list<std::string> files_;
  Options options_;
  Counts counts_;
};

void registerModule(v8::Local<v8::Object> exports) {
  using Sync = zax::BindFunction<void(std::list<std::string>, Options, zax::Callback), wordsSync>;
  Nan::Export(exports, "words", Words::entry);
  Nan::Export(exports, "wordsSync", Sync::entry);
}

}  // namespace

NODE_MODULE(words, registerModule)
