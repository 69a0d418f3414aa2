#include "zax-function.h"

#include <cxxabi.h>

#include <mutex>
#include <system_error>
#include <typeinfo>

#include "zax-base.h"
#include "zax-debug.h"
#include "zax-exception-common.h"

namespace zax {

namespace {

/// The name of a type as a person writes it. Demangling takes longer than all else that an error
/// needs, so names are kept.
const std::string& nameOf(const std::type_info& type) {
  struct Name {
    const std::type_info& type;
    std::string text;
  };
  static std::mutex mutex;
  static auto& names = *new std::deque<Name>;
  const std::lock_guard<std::mutex> lock(mutex);
  for (const Name& name : names) {
    if (name.type == type) return name.text;
  }
  Name& name = names.emplace_back(Name{type, ""});
  cxxDemangle(name.text, type.name());
  return name.text;
}

/// What an error has where an exception brings no more.
ZaxErrorRecord recordOf(const char* code, const std::string& message, const std::type_info* type,
                        const std::string& function) {
  ZaxErrorRecord record{};
  record.code = code;
  record.message = message.c_str();
  record.exceptionClass = type ? nameOf(*type).c_str() : "unknown";
  record.file = "native";
  record.function = function.c_str();
  record.syscode = -1;
  return record;
}

void throwException(const Exception& e, const std::string& function) {
  const MessageBuffer& buffer = e.message();
  const std::string message =
      buffer.overflow ? "Error message buffer overflow" : buffer.substitute();
  ZaxErrorRecord record = recordOf(e.error().c_str(), message, &typeid(e), function);
  const DebugInfo& where = e.where();
  if (where.file) {
    record.file = where.file;
    record.line = where.line;
    record.function = where.function;
  }
  std::vector<ZaxFrame> frames;
  for (const CallStack::Item& item : where.callstack.items()) {
    frames.push_back({item.function.c_str(), item.file.c_str(), item.offset, item.address});
  }
  record.callstack = frames.data();
  record.callstackSize = frames.size();
  record.syscode = where.syscode;
  record.sysdesc = where.sysdesc.c_str();
  record.sysmsg = where.sysmsg.c_str();
  backend->throwError(&record);
}

void throwSystemError(const std::system_error& e, const std::string& function) {
  const std::error_condition condition = e.code().default_error_condition();
  const bool isErrno = condition.category() == std::generic_category();
  const std::string message = e.what();
  const std::string text = e.code().message();
  ZaxErrorRecord record =
      recordOf(stdErrnoToString(isErrno ? condition.value() : -1), message, &typeid(e), function);
  record.syscode = e.code().value();
  record.sysdesc = e.code().category().name();
  record.sysmsg = text.c_str();
  backend->throwError(&record);
}

/// What is no exception of the standard library's kind.
void throwUnknown(const std::string& function) {
  const std::type_info* type = abi::__cxa_current_exception_type();
  const std::string message =
      concat({"thrown by C++ and no exception: ", type ? nameOf(*type) : "unknown"});
  const ZaxErrorRecord record = recordOf("EFAILED", message, type, function);
  backend->throwError(&record);
}

std::string countText(int required, int count) {
  const std::string least = std::to_string(required);
  return count > required ? concat({least, " to ", std::to_string(count)}) : least;
}

}  // namespace

void throwToScript(std::exception* thrown, const std::string& function,
                   const std::string& what) noexcept {
  if (!thrown) return throwUnknown(function);
  if (const auto* script = dynamic_cast<ScriptException*>(thrown)) {
    backend->throwReference(script->thrown().get());
  } else if (const auto* exception = dynamic_cast<Exception*>(thrown)) {
    auto* conversion = dynamic_cast<ConversionError*>(thrown);
    if (conversion) conversion->complete(function.c_str(), what);
    throwException(*exception, function);
  } else if (const auto* system = dynamic_cast<std::system_error*>(thrown)) {
    throwSystemError(*system, function);
  } else {
    const std::string message = thrown->what();
    const ZaxErrorRecord record = recordOf("EUNKNOWN", message, &typeid(*thrown), function);
    backend->throwError(&record);
  }
}

Function::Function(const Naming& naming, const Signature& signature,
                   decltype(ZaxFunction::invoke) invoke)
    : ZaxFunction{invoke, signature.count, signature.required, nullptr},
      name_(naming.name),
      names_(naming.parameters.begin(), naming.parameters.end()),
      text_(naming.text),
      signature_(signature) {
  ZaxFunction::name = name_.c_str();
  if (!names_.empty() && names_.size() != static_cast<std::size_t>(signature.count)) {
    throw ErrnoGenericException<EBADARG>(
        __("%(function)s has %(count)s parameters, but %(names)s names for them", "function", name_,
           "count", signature.count, "names", names_.size()),
        ZAX_DEBUG_INFO);
  }
}

Function::~Function() = default;

ZaxValue* Function::refuseCount(const Invocation& invocation) const noexcept {
  BadArgumentNumber refusal(
      __("Bad argument number: expected %(want)s, but got %(got)s", "want",
         countText(signature_.required, signature_.count), "got", invocation.count),
      DebugInfo("native", 0, name_.c_str(), -1, nullptr, nullptr));
  return fail(invocation, &refusal);
}

ZaxValue* Function::fail(const Invocation& invocation, std::exception* thrown) const noexcept {
  throwToScript(thrown, name_, describe(invocation.position));
  return nullptr;
}

std::string Function::describe(int position) const {
  if (position == Invocation::working) return "";
  if (position == Invocation::returning) return "result";
  const std::string number = std::to_string(position + 1);
  if (names_.empty()) return concat({"argument ", number});
  return concat({"argument ", number, " (", names_[position], ")"});
}

std::string Function::declaration() const {
  std::string text = "(";
  for (int i = 0; i < signature_.count; ++i) {
    if (i > 0) text += ", ";
    text += names_.empty() ? concat({"arg", std::to_string(i + 1)}) : declarable(names_[i]);
    const std::string type = signature_.parameters[i]();
    const bool optional = i >= signature_.required;
    text += concat({optional ? "?: " : ": ", type, acceptsUndefined(type) ? " | null" : ""});
  }
  return concat({text, "): ", signature_.result()});
}

}  // namespace zax
