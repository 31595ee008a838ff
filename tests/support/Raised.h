// What a piece of code raises.
#pragma once

#include <string>
#include <utility>

#include "core/error/XError.h"

namespace ky::test {

/// Returns:  the error that `body` raises, or an empty one.
template <class Body>
XError errorRaisedBy(Body&& body) {
  try {
    std::forward<Body>(body)();
  } catch (const XError& error) {
    return error;
  }
  return XError();
}

/// Returns:  the code that `body` raises, or "".
template <class Body>
std::string codeRaisedBy(Body&& body) {
  const char* const code = errorRaisedBy(std::forward<Body>(body)).GetCode();
  return code ? code : "";
}

/// Returns:  a parameter of the error's top level as text, or "<name>" if it has none of that name.
inline std::string parm(const XError& error, const char* name) {
  char text[512];
  error.GetParmAsString(text, sizeof text, error.GetTopLevel(), name);
  return text;
}

/// Returns:  the error as `text` shows it, or in the words that every error has.
inline std::string wordsOf(const XError& error, const char* text = nullptr, int size = 512) {
  std::string buffer(static_cast<std::size_t>(size), '#');
  error.ExpandString(buffer.data(), size, text);
  return buffer.c_str();
}

/// Returns:  the text of the check that `body` fails, else the code that it raises, else "".
template <class Body>
std::string refusalOf(Body&& body) {
  const XError error = errorRaisedBy(std::forward<Body>(body));
  const std::string code = error.GetCode() ? error.GetCode() : "";
  const std::string heading = "Assertion failed: ", text = code == "FATAL_ERROR" ? parm(error, "msg") : code;
  return text.starts_with(heading) ? text.substr(heading.size()) : text;
}

}  // namespace ky::test
