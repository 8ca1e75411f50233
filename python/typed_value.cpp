#include "python/typed_value.hpp"

#include <charconv>
#include <climits>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "zel/foundation/value_parse.hpp"
#include "zel/foundation/value_text.hpp"

namespace vorn::zel_python {

namespace py = pybind11;

namespace {

enum class kind { boolean, integer, real, text, other };

kind kind_of(const py::handle& value) {
    // bool first: it is an int to Python.
    if (py::isinstance<py::bool_>(value)) {
        return kind::boolean;
    }
    if (py::isinstance<py::int_>(value)) {
        return kind::integer;
    }
    if (py::isinstance<py::float_>(value)) {
        return kind::real;
    }
    if (py::isinstance<py::str>(value)) {
        return kind::text;
    }
    return kind::other;
}

std::string type_name(const py::handle& value) {
    return py::str(py::type::handle_of(value).attr("__name__"));
}

[[noreturn]] void refuse(const py::handle& value) {
    throw py::type_error(
        "a parameter value is a bool, int, float, str or a list of one of "
        "them, not " +
        type_name(value));
}

// An int as the C++ integer kinds hold it: signed 64 bits where it fits,
// else unsigned 64 bits; beyond both a ValueError.
bool fits_signed(const py::handle& value, long long& out) {
    int overflow = 0;
    out = PyLong_AsLongLongAndOverflow(value.ptr(), &overflow);
    return overflow == 0;
}

unsigned long long as_unsigned(const py::handle& value) {
    const unsigned long long v = PyLong_AsUnsignedLongLong(value.ptr());
    if (PyErr_Occurred() != nullptr) {
        PyErr_Clear();
        throw py::value_error("integer " + std::string(py::str(value)) +
                              " does not fit in 64 bits");
    }
    return v;
}

template <class T>
void generate_array(generic_param& param, const std::vector<T>& values) {
    param.generate(values.data(), values.size());
}

generic_param param_of_sequence(const py::sequence& values) {
    generic_param param;
    if (values.size() == 0) {
        // The library's refusal of an array of no elements.
        param.generate(static_cast<const double*>(nullptr), 0);
    }
    kind common = kind_of(values[0]);
    for (const py::handle element : values) {
        const kind k = kind_of(element);
        if (k == kind::other) {
            refuse(element);
        }
        if (k != common) {
            const bool numbers = (k == kind::integer || k == kind::real) &&
                                 (common == kind::integer || common == kind::real);
            if (!numbers) {
                throw py::type_error("the elements of an array value are all of one kind, not " +
                                     type_name(values[0]) + " and " + type_name(element));
            }
            common = kind::real;
        }
    }
    switch (common) {
        case kind::boolean: {
            std::unique_ptr<bool[]> flags(new bool[values.size()]);
            for (std::size_t i = 0; i < values.size(); ++i) {
                flags[i] = values[i].cast<bool>();
            }
            param.generate(flags.get(), values.size());
            break;
        }
        case kind::integer: {
            std::vector<long long> signed_values;
            long long v = 0;
            for (const py::handle element : values) {
                if (!fits_signed(element, v)) {
                    break;
                }
                signed_values.push_back(v);
            }
            if (signed_values.size() == values.size()) {
                generate_array(param, signed_values);
                break;
            }
            std::vector<unsigned long long> unsigned_values;
            for (const py::handle element : values) {
                unsigned_values.push_back(as_unsigned(element));
            }
            generate_array(param, unsigned_values);
            break;
        }
        case kind::real: {
            std::vector<double> reals;
            for (const py::handle element : values) {
                reals.push_back(element.cast<double>());
            }
            generate_array(param, reals);
            break;
        }
        case kind::text: {
            std::vector<std::string> texts;
            for (const py::handle element : values) {
                texts.push_back(element.cast<std::string>());
            }
            generate_array(param, texts);
            break;
        }
        case kind::other:
            refuse(values[0]);
    }
    return param;
}

// The element count behind a type word: 0 for a scalar, -1 for a word that
// is not the kind's word followed by a count of at least 1.
long long count_after(std::string_view type, std::string_view word) {
    if (!type.starts_with(word)) {
        return -1;
    }
    const std::string_view digits = type.substr(word.size());
    if (digits.empty()) {
        return 0;
    }
    unsigned long long count = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), count);
    if (error != std::errc() || end != digits.data() + digits.size() || count == 0 ||
        count > LLONG_MAX) {
        return -1;
    }
    return static_cast<long long>(count);
}

[[noreturn]] void unreadable(std::string_view type, std::string_view text) {
    throw py::value_error("value \"" + std::string(text) + "\" does not read as " +
                          std::string(type));
}

py::object integer_of(std::string_view type, std::string_view text) {
    long long v = 0;
    if (parse_value(text, v)) {
        return py::int_(v);
    }
    unsigned long long u = 0;
    if (parse_value(text, u)) {
        return py::int_(u);
    }
    unreadable(type, text);
}

py::object scalar_of(std::string_view type, kind k, std::string_view text) {
    switch (k) {
        case kind::integer:
            return integer_of(type, text);
        case kind::real: {
            double v = 0;
            if (!parse_value(text, v)) {
                unreadable(type, text);
            }
            return py::float_(v);
        }
        case kind::boolean: {
            bool v = false;
            if (!parse_value(text, v)) {
                unreadable(type, text);
            }
            return py::bool_(v);
        }
        default:
            return py::str(text.data(), text.size());
    }
}

template <class T, class Make>
py::tuple array_of(std::string_view type, std::string_view text, std::size_t count, Make make) {
    std::unique_ptr<T[]> values(new T[count]);
    if (parse_array(text, std::span<T>(values.get(), count)) != count) {
        unreadable(type, text);
    }
    py::tuple result(count);
    for (std::size_t i = 0; i < count; ++i) {
        result[i] = make(values[i]);
    }
    return result;
}

}  // namespace

generic_param param_of(const py::handle& value) {
    generic_param param;
    switch (kind_of(value)) {
        case kind::boolean:
            param.generate(value.cast<bool>());
            return param;
        case kind::integer: {
            long long v = 0;
            if (fits_signed(value, v)) {
                param.generate(v);
            } else {
                param.generate(as_unsigned(value));
            }
            return param;
        }
        case kind::real:
            param.generate(value.cast<double>());
            return param;
        case kind::text:
            param.generate(value.cast<std::string>());
            return param;
        case kind::other:
            break;
    }
    if (py::isinstance<py::list>(value) || py::isinstance<py::tuple>(value)) {
        return param_of_sequence(py::reinterpret_borrow<py::sequence>(value));
    }
    refuse(value);
}

py::object typed_value(std::string_view type, std::string_view text) {
    struct word {
        std::string_view text;
        kind k;
    };
    const word words[] = {{integer_type_word, kind::integer},
                          {double_type_word, kind::real},
                          {boolean_type_word, kind::boolean},
                          {string_type_word, kind::text}};
    for (const word& w : words) {
        const long long count = count_after(type, w.text);
        if (count < 0 || (count > 0 && w.k == kind::text)) {
            continue;
        }
        if (count == 0) {
            return scalar_of(type, w.k, text);
        }
        // Every element takes a byte and a blank but the last, so a count
        // beyond the text's length is refused before anything is allocated.
        const auto n = static_cast<std::size_t>(count);
        if (n > text.size()) {
            unreadable(type, text);
        }
        switch (w.k) {
            case kind::integer:
                return array_of<long long>(type, text, n, [](long long v) { return py::int_(v); });
            case kind::real:
                return array_of<double>(type, text, n, [](double v) { return py::float_(v); });
            default:
                return array_of<bool>(type, text, n, [](bool v) { return py::bool_(v); });
        }
    }
    return py::str(text.data(), text.size());
}

}  // namespace vorn::zel_python
