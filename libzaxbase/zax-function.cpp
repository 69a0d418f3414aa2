#include "zax-function.h"

#include <cxxabi.h>

#include <list>
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
  static auto& names = *new std::list<Name>;
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
  if (const auto* exception = dynamic_cast<Exception*>(thrown)) {
    auto* conversion = dynamic_cast<ConversionError*>(thrown);
    if (conversion) conversion->complete(function.c_str(), what);
    throwException(*exception, function);
  } else if (const auto* script = dynamic_cast<ScriptException*>(thrown)) {
    backend->throwReference(script->thrown().get());
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
      name_(naming.type ? concat({naming.type->name, ".", naming.name}) : naming.name),
      type_(naming.type),
      names_(naming.parameters.begin(), naming.parameters.end()),
      text_(naming.text),
      signature_(signature) {
  ZaxFunction::name = name_.c_str() + (name_.size() - naming.name.size());
  const std::size_t count = signature.count - (signature.isTask ? 1 : 0);
  if (!names_.empty() && names_.size() != count) {
    throw ErrnoGenericException<EBADARG>(
        __("%(function)s has %(count)s parameters, but %(names)s names for them", "function", name_,
           "count", count, "names", names_.size()),
        ZAX_DEBUG_INFO);
  }
}

Function::~Function() = default;

ZaxValue* Function::refuseCount(const Invocation& invocation) const noexcept {
  BadArgumentNumber refusal(
      __("Bad argument number: expected %(want)s, but got %(got)s", "want",
         countText(signature_.required, signature_.count), "got", invocation.count),
      DebugInfo("native", 0, name_.c_str(), -1, nullptr, nullptr));
  return fail(Invocation::working, &refusal);
}

ZaxValue* Function::fail(int position, std::exception* thrown) const noexcept {
  throwToScript(thrown, name_, describe(position));
  return nullptr;
}

void Function::refuseReceiver() const {
  throw BadArgument(concat({"no instance of ", type_->name}));
}

std::string Function::describe(int position) const {
  if (position == Invocation::working) return "";
  if (position == Invocation::returning) return "result";
  if (position == Invocation::progress) return "progress";
  if (position == Invocation::receiving) return "this";
  const std::string number = std::to_string(position + 1);
  const std::string name = parameterName(position);
  return name.empty() ? concat({"argument ", number})
                      : concat({"argument ", number, " (", name, ")"});
}

/// Empty where it has none.
std::string Function::parameterName(int index) const {
  if (signature_.isTask && index == signature_.count - 1) return "options";
  return names_.empty() ? "" : names_[index];
}

std::string Function::declareParameter(int index) const {
  const std::string name = parameterName(index);
  const std::string type = signature_.parameters[index]();
  return concat({name.empty() ? concat({"arg", std::to_string(index + 1)}) : declarable(name),
                 index >= signature_.required ? "?: " : ": ", type,
                 acceptsUndefined(type) ? " | null" : ""});
}

std::string Function::declaration(const std::string& head, const std::string& indentation,
                                  bool hasResult) const {
  constexpr std::size_t longest = 98;  // With "(" and ";" a line of 100.
  std::string line;
  std::string lines;
  for (int i = 0; i < signature_.count; ++i) {
    const std::string parameter = declareParameter(i);
    line += concat({i > 0 ? ", " : "", parameter});
    lines += concat({"\n", indentation, "  ", parameter, ","});
  }
  // After the parameters: in this order the types that they refer to are declared.
  const std::string end = hasResult ? concat({"): ", signature_.result()}) : ")";
  if (head.size() + line.size() + end.size() <= longest) return concat({head, "(", line, end});
  return concat({head, "(", lines, "\n", indentation, end});
}

}  // namespace zax
