#include <stdexcept>

#include "bridge.h"

namespace bridge {

void raise(const std::string& how) {
  const char* const none = nullptr;
  if (how == "zax") {
    throw zax::Exception("RAISED", __("raised on %(what)s", "what", "purpose"), ZAX_DEBUG_INFO);
  }
  if (how == "odd") {
    throw zax::Exception(__("[%(null)s%(same)s%(none)s]", "null", none, "same", 1, "same", 2),
                         ZAX_DEBUG_INFO);
  }
  if (how == "std") throw std::runtime_error("disk full");
  if (how == "long") throw std::runtime_error(std::string(5000, 'x'));
  if (how == "text") throw "boom";
  if (how == "null") throw none;
  if (how == "int") throw 42;
  if (!how.empty()) throw std::invalid_argument("nothing is called " + how);
}

namespace {

/// Throws an error record with two frames and the given system error; syscode 0 and up is one.
zax::ErrorInfo record(int syscode, const std::string& sysdesc, const std::string& sysmsg) {
  zax::DebugInfo where("native.cpp", 12, "work", syscode, sysdesc.c_str(), sysmsg.c_str());
  where.callstack.items().push_back({"lib.so", " -> outer", 0, 255, ""});
  where.callstack.items().push_back({"???", "main", 0x1f, 0x7fffffffffffffff, ""});
  return zax::ErrorInfo("RECORD", __("at %(where)s", "where", "hand"), where, "by hand");
}

void throwRecord(int syscode, const std::string& sysdesc, const std::string& sysmsg) {
  zax::ZAXError(record(syscode, sysdesc, sysmsg)).throwException();
}

void sendRecord(Callback callback) { zax::ZAXError(record(2, "desc", "")).sendReply(callback); }

void throwNothing() { zax::ZAXError(zax::ErrorInfo()).throwException(); }

}  // namespace

void registerErrors(Exports exports) {
  bind<&raise>(exports, "raise");
  bind<&throwRecord>(exports, "throwRecord");
  bind<&sendRecord>(exports, "sendRecord");
  bind<&throwNothing>(exports, "throwNothing");
}

}  // namespace bridge
