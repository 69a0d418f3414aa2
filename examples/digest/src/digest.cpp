#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zax.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

// The digest of a file, computed by the OpenSSL that Node carries.

namespace {

using zax::ErrnoException;
using Failed = zax::ErrnoGenericException<zax::EFAILED>;

constexpr std::size_t chunkSize = 1 << 20;

/// A file that is open for reading.
class File {
 public:
  explicit File(const std::string& path)
      : path_(path), descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (descriptor_ < 0) {
      throw ErrnoException("open", __("cannot open %(path)s", "path", path_), ZAX_DEBUG_INFO);
    }
  }

  ~File() { close(descriptor_); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

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

std::string digest(const std::string& algorithm, const std::string& path,
                   const zax::Progress<int>& progress, const zax::Cancellation& cancellation) {
  const Algorithm fetched(EVP_MD_fetch(nullptr, algorithm.c_str(), nullptr));
  if (!fetched) throw zax::BadArgument("unknown algorithm " + algorithm);
  File file(path);
  const unsigned long size = file.size();
  Hash hash(fetched.get());
  std::vector<unsigned char> chunk(chunkSize);
  unsigned long done = 0;
  int told = 0;
  while (const std::size_t count = file.readInto(chunk)) {
    cancellation.check();
    hash.update(chunk.data(), count);
    done += count;
    const auto percent = static_cast<int>(size > 0 ? std::min(100UL, done * 100 / size) : 0);
    if (percent > told) progress(told = percent);
  }
  return hash.finish();
}

}  // namespace

ZAX_MODULE(module) {
  module.task("digest", digest, {"algorithm", "path"},
              "The digest of a file, in hexadecimal digits. Tells each percentage once.");
}
