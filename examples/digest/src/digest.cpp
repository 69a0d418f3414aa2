#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "zax-v8-argument-list.h"

// digest(algorithm, path, callback): the digest of a file, computed by the OpenSSL that Node
// carries. Calls back with the percentage done, a number, and in the end with the digest, a text.

namespace {

using zax::ErrnoException;
using Failed = zax::ErrnoGenericException<zax::EFAILED>;

constexpr std::size_t chunkSize = 1 << 20;

/// A file that is open for reading.
class File : public zax::NonCopyable {
 public:
  explicit File(const std::string& path)
      : path_(path), descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (descriptor_ < 0) {
      throw ErrnoException("open", __("cannot open %(path)s", "path", path_), ZAX_DEBUG_INFO);
    }
  }

  ~File() { close(descriptor_); }

  /// The size in bytes; 0 for what has none, such as a pipe.
  unsigned long size() const {
    struct stat status;
    if (fstat(descriptor_, &status) != 0) {
      throw ErrnoException("fstat", __("cannot examine %(path)s", "path", path_), ZAX_DEBUG_INFO);
    }
    return status.st_size;
  }

  /// The number of bytes read; 0 at the end.
  std::size_t readInto(std::vector<unsigned char>& buffer) {
    const ssize_t count = read(descriptor_, buffer.data(), buffer.size());
    if (count < 0) {
      throw ErrnoException("read", __("cannot read %(path)s", "path", path_), ZAX_DEBUG_INFO);
    }
    return count;
  }

 private:
  const std::string& path_;
  int descriptor_;
};

struct FreeAlgorithm {
  void operator()(EVP_MD* algorithm) const { EVP_MD_free(algorithm); }
};
using Algorithm = std::unique_ptr<EVP_MD, FreeAlgorithm>;

/// A digest in the making.
class Hash {
 public:
  explicit Hash(const EVP_MD* algorithm) : context_(EVP_MD_CTX_new()) {
    check(EVP_DigestInit_ex(context_.get(), algorithm, nullptr), "EVP_DigestInit_ex");
  }

  void update(const void* data, std::size_t size) {
    check(EVP_DigestUpdate(context_.get(), data, size), "EVP_DigestUpdate");
  }

  /// The digest in hexadecimal digits.
  std::string finish() {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    check(EVP_DigestFinal_ex(context_.get(), digest, &size), "EVP_DigestFinal_ex");
    std::string text;
    for (unsigned int i = 0; i < size; ++i) {
      text += "0123456789abcdef"[digest[i] >> 4];
      text += "0123456789abcdef"[digest[i] & 15];
    }
    return text;
  }

 private:
  static void check(int result, const char* function) {
    if (result != 1) throw Failed(__("%(function)s failed", "function", function), ZAX_DEBUG_INFO);
  }

  struct FreeContext {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
  };
  std::unique_ptr<EVP_MD_CTX, FreeContext> context_;
};

class Progress : public zax::AsyncNotification {
 public:
  Progress(zax::AsyncJob* job, int percent) : AsyncNotification(job), percent_(percent) {}

  void execute() override { deliver(Nan::New(percent_)); }

 private:
  int percent_;
};

class Digest : public zax::Binding<Digest> {
 public:
  static Digest* create(std::string algorithm, std::string path, zax::Callback callback) {
    Algorithm fetched(EVP_MD_fetch(nullptr, algorithm.c_str(), nullptr));
    if (!fetched) {
      throw zax::ErrnoGenericException<zax::EBADARG>(
          __("unknown algorithm %(algorithm)s", "algorithm", algorithm), ZAX_DEBUG_INFO);
    }
    return new Digest(callback, std::move(fetched), path);
  }

  void beginJob() override {
    File file(path_);
    const unsigned long size = file.size();
    Hash hash(algorithm_.get());
    std::vector<unsigned char> chunk(chunkSize);
    unsigned long done = 0;
    while (const std::size_t count = file.readInto(chunk)) {
      hash.update(chunk.data(), count);
      done += count;
      if (size > 0) tell(std::min(100UL, done * 100 / size));
    }
    result_ = hash.finish();
  }

  void afterJob() override { callback.call(result_); }

 private:
  Digest(const zax::Callback& callback, Algorithm algorithm, const std::string& path)
      : Binding(callback), algorithm_(std::move(algorithm)), path_(path) {}

  /// Posts a notification for every percentage once.
  void tell(int percent) {
    if (percent == told_) return;
    told_ = percent;
    notify(new Progress(this, percent));
  }

  Algorithm algorithm_;
  std::string path_;
  std::string result_;
  int told_ = 0;
};

void registerModule(v8::Local<v8::Object> exports) {
  Nan::Export(exports, "digest", Digest::entry);
}

}  // namespace

NODE_MODULE(digest, registerModule)
