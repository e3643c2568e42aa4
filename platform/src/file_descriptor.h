#pragma once

#include <unistd.h>

#include <utility>

namespace wincrypt {

class FileDescriptor {
public:
    explicit FileDescriptor(int number) noexcept : number_(number) {}
    ~FileDescriptor() {
        if (number_ >= 0)
            ::close(number_);
    }
    FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    FileDescriptor(FileDescriptor const&) = delete;
    FileDescriptor& operator=(FileDescriptor const&) = delete;

    explicit operator bool() const noexcept { return number_ >= 0; }
    int number() const noexcept { return number_; }

    // Closes now and tells whether what was written got through.
    bool close() noexcept { return ::close(std::exchange(number_, -1)) == 0; }

private:
    int number_;
};

} // namespace wincrypt
