#ifndef ZAX_DECLARATION_H
#define ZAX_DECLARATION_H

#include <string>
#include <vector>

namespace zax {

/// Collects the named types that declarations in TypeScript refer to, while it lives on the stack
/// of the thread that writes them. JavaScript thread only.
class Declarations {
 public:
  /// Writes what follows `export `, with "%" in place of the name.
  using Write = std::string (*)(const void* type);

  Declarations();
  ~Declarations();
  Declarations(const Declarations&) = delete;
  Declarations& operator=(const Declarations&) = delete;

  /// The name under which a type is declared, from its own without namespaces; `type` tells it from
  /// others. With no Declarations alive it is its own. `write` is null for what is declared
  /// elsewhere.
  static std::string refer(const std::string& ownName, const void* type, Write write);

  /// The declarations of all types that were referred to, in the order of the first reference.
  std::string text() const;

 private:
  std::size_t indexOf(const void* type) const;
  std::string nameFor(const std::string& ownName) const;

  struct Declared {
    const void* type;
    std::string name;
    std::string text;
  };

  static thread_local Declarations* current;

  Declarations* outer_;
  std::vector<Declared> types_;
};

/// Whether a name needs no quotes.
bool isIdentifier(const std::string& name);

/// A name in double quotes, without characters that would end it or a message.
std::string quoted(const std::string& name);

/// The name itself where something can be declared under it, otherwise one that is like it.
std::string declarable(const std::string& name);

/// Whether `undefined` is among the alternatives of a type in TypeScript.
bool acceptsUndefined(const std::string& declaration);

/// A comment of documentation with its indentation, or nothing for an empty text.
std::string documentation(const std::string& text, const std::string& indentation);

}  // namespace zax

#endif
