#include "zel/facade/host_exceptions.hpp"

#include <utility>

#include "zel/facade/host_text.hpp"

namespace System {

namespace {

constexpr std::u16string_view value_null = u"Value cannot be null.";
constexpr std::u16string_view out_of_range =
    u"Specified argument was out of the range of valid values.";
constexpr std::u16string_view insufficient_memory =
    u"Insufficient memory to continue the execution of the program.";
constexpr std::u16string_view parameter_name = u"Parameter name: ";
constexpr std::u16string_view disposed = u"Cannot access a disposed object.";
constexpr std::u16string_view object_name = u"Object name: '";

std::u16string with_parameter(std::u16string_view sentence, const String& name) {
    std::u16string message(sentence);
    if (!name.empty()) {
        message.append(Environment::NewLine).append(parameter_name).append(name.view());
    }
    return message;
}

}  // namespace

Exception::Exception(String message) : Exception(message, std::u16string(message.view())) {}

Exception::Exception(String text, std::u16string message)
    : text_(std::move(text)),
      message_(std::move(message)),
      what_(Tessaly::Corvane::DB::ZEL::utf8_of(message_)) {}

Exception::~Exception() = default;

ArgumentException::ArgumentException(String message) : Exception(std::move(message)) {}

ArgumentException::ArgumentException(std::u16string_view sentence, String paramName)
    : Exception(paramName, with_parameter(sentence, paramName)),
      param_name_(std::move(paramName)) {}

ArgumentNullException::ArgumentNullException(String paramName)
    : ArgumentException(value_null, std::move(paramName)) {}

ArgumentOutOfRangeException::ArgumentOutOfRangeException(String paramName)
    : ArgumentException(out_of_range, std::move(paramName)) {}

InvalidOperationException::InvalidOperationException(String message)
    : Exception(std::move(message)) {}

InvalidOperationException::InvalidOperationException(String text, std::u16string message)
    : Exception(std::move(text), std::move(message)) {}

ObjectDisposedException::ObjectDisposedException(String objectName)
    : InvalidOperationException(objectName, std::u16string(disposed)
                                                .append(Environment::NewLine)
                                                .append(object_name)
                                                .append(objectName.view())
                                                .append(u"'.")) {}

OutOfMemoryException::OutOfMemoryException(String message) : Exception(std::move(message)) {}

InsufficientMemoryException::InsufficientMemoryException()
    : OutOfMemoryException(String(insufficient_memory)) {}

InsufficientMemoryException::InsufficientMemoryException(String message)
    : OutOfMemoryException(std::move(message)) {}

}  // namespace System
