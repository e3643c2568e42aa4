// The exception guard at the C boundary: every call's body runs inside one of these, and every kind of
// exception becomes its published error value here and nowhere else.
#pragma once

#include "failure.h"
#include "log.h"
#include "process_locks.h"

#include <cxxabi.h>
#include <exception>
#include <new>
#include <type_traits>
#include <utility>

namespace wincrypt {

// Runs a body that gives an error value (or nothing, for success) under a lease, and gives the value that the
// call ends with.
template <class Body>
DWORD outcome(Body&& body) {
    try {
        Lease const lease;
        if constexpr (std::is_void_v<std::invoke_result_t<Body>>) {
            std::forward<Body>(body)();
            return ERROR_SUCCESS;
        } else {
            return errorValue(std::forward<Body>(body)());
        }
    } catch (Failure const& failure) {
        return failure.code();
    } catch (std::bad_alloc const&) {
        // Where the end of a walk and a failure are the same null to the caller, this line is all that tells.
        logLine("memory", "there is none left");
        return ERROR_NOT_ENOUGH_MEMORY;
    } catch (std::exception const& exception) {
        logLine("internal error", exception.what());
        return ERROR_INTERNAL_ERROR;
    } catch (abi::__forced_unwind const&) {
        throw; // the thread is being cancelled
    } catch (...) {
        return ERROR_INTERNAL_ERROR;
    }
}

// For calls that give BOOL. Success leaves the last error alone.
template <class Body>
BOOL boundary(Body&& body) {
    DWORD const error = outcome(std::forward<Body>(body));
    if (error == ERROR_SUCCESS)
        return TRUE;
    SetLastError(error);
    return FALSE;
}

// For calls that give a handle or context: the body fills the result.
template <class Result, class Body>
Result boundaryResult(Body&& body) {
    Result result{};
    DWORD const error = outcome([&] { return body(result); });
    if (error == ERROR_SUCCESS)
        return result;
    SetLastError(error);
    return Result{};
}

} // namespace wincrypt
