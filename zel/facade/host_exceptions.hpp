// The managed runtime's exception types that the façade raises, under the
// runtime's own names.
//
// Each is built from one string, as the façade always builds them, and that
// string lands where the runtime's one-string constructor puts it: in the
// message for ArgumentException, InvalidOperationException and
// InsufficientMemoryException, but in the parameter name for
// ArgumentNullException and ArgumentOutOfRangeException, whose message is
// then the runtime's fixed sentence followed by the parameter name. text()
// gives the string as it was given, so that a managed host can raise its own
// exception of type_name() with it and get the same result.
//
// what() is Message() in UTF-8. The native layers' exceptions are not
// translated into these: they reach the host as they are.
#pragma once

#include <exception>
#include <string>
#include <string_view>

#include "zel/facade/host_string.hpp"

namespace System {

class Exception : public std::exception {
  public:
    explicit Exception(String message);
    ~Exception() override;

    // The runtime's name of the type, as "System.ArgumentException".
    virtual const char* type_name() const noexcept { return "System.Exception"; }
    // The one string the exception was built from.
    const String& text() const noexcept { return text_; }
    const std::u16string& Message() const noexcept { return message_; }
    const char* what() const noexcept override { return what_.c_str(); }

  protected:
    Exception(String text, std::u16string message);

  private:
    String text_;
    std::u16string message_;
    std::string what_;
};

class ArgumentException : public Exception {
  public:
    explicit ArgumentException(String message);
    const char* type_name() const noexcept override { return "System.ArgumentException"; }
    // Empty unless the constructor took the text as a parameter name.
    const String& ParamName() const noexcept { return param_name_; }

  protected:
    // The fixed sentence of a derived type, with the parameter name behind it.
    ArgumentException(std::u16string_view sentence, String paramName);

  private:
    String param_name_;
};

class ArgumentNullException : public ArgumentException {
  public:
    explicit ArgumentNullException(String paramName);
    const char* type_name() const noexcept override { return "System.ArgumentNullException"; }
};

class ArgumentOutOfRangeException : public ArgumentException {
  public:
    explicit ArgumentOutOfRangeException(String paramName);
    const char* type_name() const noexcept override { return "System.ArgumentOutOfRangeException"; }
};

class InvalidOperationException : public Exception {
  public:
    explicit InvalidOperationException(String message);
    const char* type_name() const noexcept override { return "System.InvalidOperationException"; }

  protected:
    InvalidOperationException(String text, std::u16string message);
};

// Raised by the C interface for a handle whose file was closed; the one
// string is the object's name.
class ObjectDisposedException : public InvalidOperationException {
  public:
    explicit ObjectDisposedException(String objectName);
    const char* type_name() const noexcept override { return "System.ObjectDisposedException"; }
};

class OutOfMemoryException : public Exception {
  public:
    explicit OutOfMemoryException(String message);
    const char* type_name() const noexcept override { return "System.OutOfMemoryException"; }
};

class InsufficientMemoryException : public OutOfMemoryException {
  public:
    // The runtime's own sentence.
    InsufficientMemoryException();
    explicit InsufficientMemoryException(String message);
    const char* type_name() const noexcept override { return "System.InsufficientMemoryException"; }
};

}  // namespace System
