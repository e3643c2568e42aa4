#pragma once

#include <string>
#include <string_view>

namespace tvkstore {

// Takes the bytes of a result. Throws Failure when they can't be written.
class ByteSink {
public:
    virtual ~ByteSink();
    virtual void write(std::string_view bytes) = 0;
};

// Standard output, buffered.
class Output : public ByteSink {
public:
    void write(std::string_view bytes) override;

    // Writes what is left and then these bytes, of which nothing stays in the buffer.
    void writeSecret(std::string_view bytes);

    // Writes what is left and closes the stream, as some file systems tell of a failed write only then.
    void finish();

    bool isTerminal() const;

private:
    void flush();

    std::string buffer_;
};

} // namespace tvkstore
