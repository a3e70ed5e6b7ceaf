#pragma once

#include "Error.h"

#include <utility>
#include <variant>

// The value of an operation that can fail, or the Error that says why. A stand-in for
// std::expected until the toolchains we build with all have it.
template <typename T> class [[nodiscard]] Result
{
public:
    Result(T made)
        : m_state(std::in_place_index<0>, std::move(made))
    {
    }
    Result(Error error)
        : m_state(std::in_place_index<1>, std::move(error))
    {
    }

    bool ok() const { return m_state.index() == 0; }
    explicit operator bool() const { return ok(); }

    const T &value() const & { return std::get<0>(m_state); }
    T &value() & { return std::get<0>(m_state); }
    T &&value() && { return std::get<0>(std::move(m_state)); }
    const T &operator*() const & { return value(); }
    const T *operator->() const { return &value(); }

    const Error &error() const { return std::get<1>(m_state); }

private:
    std::variant<T, Error> m_state;
};

// Success carries nothing but the fact.
template <> class [[nodiscard]] Result<void>
{
public:
    Result() = default;
    Result(Error error)
        : m_error(std::move(error))
        , m_failed(true)
    {
    }

    bool ok() const { return !m_failed; }
    explicit operator bool() const { return ok(); }
    const Error &error() const { return m_error; }

private:
    Error m_error;
    bool m_failed = false;
};
