#pragma once

#include "base/TavrelError.h"

#include <optional>

// The component's error a call raised, if it raised one.
template <typename Call> std::optional<TavrelError> ErrorOf(Call&& call) {
    try {
        call();
    } catch (const TavrelError& error) {
        return error;
    }
    return std::nullopt;
}

// The number of the component's error a call raised; 0 when it raised none.
template <typename Call> qint32 ErrorNumberOf(Call&& call) {
    const std::optional<TavrelError> error = ErrorOf(std::forward<Call>(call));
    return error ? error->number() : 0;
}
