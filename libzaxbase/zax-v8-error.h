#ifndef ZAX_V8_ERROR_H
#define ZAX_V8_ERROR_H

#include <v8.h>

#include <exception>

#include "zax-error-info.h"
#include "zax-v8-callback.h"

namespace zax {

/// The JavaScript value of an error: made from a record by the script side's global functions "__"
/// (the message) and "createZaxBindingError" (the value), then thrown or sent as a reply.
///
/// Lives on the stack of the function that handles an error, on the JavaScript thread, in that
/// function's handle scope. Where a script-side function is missing, a line goes to standard error;
/// without a value nothing is thrown and no reply is sent. Where one of them throws, there is no
/// value either, and its exception stays pending.
class ZAXError {
 public:
  explicit ZAXError(const ErrorInfo& info) { create(info); }
  explicit ZAXError(const std::exception& e) { create(ErrorInfo(e)); }

  /// An error that native code reports without an exception.
  ZAXError(const ErrorCode& code, const MessageBuffer& message, const DebugInfo& debugInfo);

  /// Makes the value from a record; when that fails the value stays as it was.
  void create(const ErrorInfo& info);

  /// The value, possibly empty; valid in the handle scope in which `create` was called.
  v8::Local<v8::Value> errorObject() const { return errorObject_; }

  /// Calls the callback with the value as its only argument. What the callback throws is reported
  /// as an uncaught exception of the process.
  void sendReply(Callback& callback);

  /// Throws the value into the running script.
  void throwException();

  /// Throws the value of any caught exception into the running script.
  static void throwException(const std::exception& e) { ZAXError(e).throwException(); }

 private:
  v8::Local<v8::Value> errorObject_;
};

}  // namespace zax

#endif
