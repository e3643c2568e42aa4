#include "message.h"

#include <tvksoft/tvksoftalgorithmfactory.h>

#include <tvkcore/base/tvkexception.h>

#include <utility>

namespace tvksoft {
namespace {

constexpr char kFile[] = "./toolkit/soft/src/message";

} // namespace

void failNotStarted(char const* file, int line) {
    throw TVKException(file, line, TVKSOFT_NOT_STARTED, "the operation was not started");
}

void Message::add(TVKASNCBuffer const& part) {
    if (!collected_) {
        failNotStarted(kFile, __LINE__);
    }
    if (part.length > limit_ - collected_->getLength()) {
        throw TVKException(kFile, __LINE__, TVKSOFT_TOO_LONG,
                           "the data are longer than the key's block holds");
    }
    collected_->append(static_cast<unsigned int>(part.length), part.data);
}

TVKBuffer Message::take() {
    if (!collected_) {
        failNotStarted(kFile, __LINE__);
    }
    TVKBuffer whole = std::move(*collected_);
    collected_.reset();
    return whole;
}

} // namespace tvksoft
