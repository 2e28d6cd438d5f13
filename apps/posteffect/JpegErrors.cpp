#include "apps/posteffect/JpegErrors.h"

#include <jerror.h>

#include <algorithm>
#include <iterator>

namespace posteffect {
namespace {

// Warnings that mean that pixels are missing or wrong.
constexpr int kDamage[] = {JWRN_JPEG_EOF, JWRN_HIT_MARKER, JWRN_HUFF_BAD_CODE, JWRN_MUST_RESYNC,
                           JWRN_ARITH_BAD_CODE};

// Errors of files that are sound but of a kind that libjpeg cannot handle.
constexpr int kUnsupported[] = {JERR_BAD_PRECISION, JERR_SOF_UNSUPPORTED, JERR_ARITH_NOTIMPL,
                                JERR_IMAGE_TOO_BIG, JERR_COMPONENT_COUNT, JERR_CONVERSION_NOTIMPL,
                                JERR_NOT_COMPILED};

template <std::size_t N>
bool Contains(const int (&codes)[N], int code) {
    return std::find(std::begin(codes), std::end(codes), code) != std::end(codes);
}

}  // namespace

JpegErrors::JpegErrors() : jpeg_error_mgr{}, m_jump{} {
    jpeg_std_error(this);
    error_exit = onError;
    emit_message = onMessage;
    output_message = [](j_common_ptr) {};
}

void JpegErrors::onError(j_common_ptr info) {
    auto* self = static_cast<JpegErrors*>(info->err);
    self->format_message(info, self->m_text);
    std::longjmp(self->m_jump, 1);
}

void JpegErrors::onMessage(j_common_ptr info, int level) {
    if (level < 0 && Contains(kDamage, info->err->msg_code)) onError(info);
}

Failure JpegErrors::failure(const std::string& name) const {
    if (Contains(kUnsupported, msg_code)) {
        return {kExitUnsupported, name,
                std::string("unsupported kind of JPEG (") + m_text +
                    "): save it as an ordinary 8-bit JPEG"};
    }
    if (msg_code == JERR_OUT_OF_MEMORY) {
        return {kExitUnreadable, name, "not enough memory: use a smaller picture"};
    }
    return {kExitUnreadable, name,
            std::string("damaged or truncated JPEG (") + m_text + "): get a complete copy"};
}

}  // namespace posteffect
