// Passwords and auth keys for the tool: read as lines from stdin (for scripts, e.g.
// --password-stdin), or typed at the controlling terminal with echo switched off. A
// secret's text is wiped from memory when it is dropped, and it is never printed.
#ifndef VEXOZEPH_TOOLS_VEXOZEPH_SECRET_INPUT_H_
#define VEXOZEPH_TOOLS_VEXOZEPH_SECRET_INPUT_H_

#include <string>

namespace vexozeph {
namespace cli {

class Secret {
 public:
  Secret();
  ~Secret();
  Secret(const Secret &) = delete;
  Secret &operator=(const Secret &) = delete;

  const std::string &text() const { return text_; }
  const char *c_str() const { return text_.c_str(); }
  bool empty() const { return text_.empty(); }
  std::string *buffer() { return &text_; }
  // Wipes and empties.
  void Clear();

 private:
  std::string text_;
};

class SecretInput {
 public:
  enum class Source { kStdin, kTerminal };
  explicit SecretInput(Source source) : source_(source) {}

  // The next secret: the next line of stdin, or what is typed after `prompt` on the
  // terminal. False, with the reason for the user in *why, when there is none: end of
  // input, an empty line, no terminal, or a read error.
  bool Read(const std::string &prompt, Secret *secret, std::string *why) const;
  // A secret being chosen: on the terminal it is asked twice and must match; from stdin
  // it is one line, as with Read.
  bool ReadNew(const std::string &prompt, Secret *secret, std::string *why) const;

 private:
  Source source_;
};

// kTerminal when stdin is a terminal, else kStdin: for secrets that are always taken
// from stdin, but should not echo when a person types them.
SecretInput::Source StdinOrTerminal();

}  // namespace cli
}  // namespace vexozeph

#endif  // VEXOZEPH_TOOLS_VEXOZEPH_SECRET_INPUT_H_
