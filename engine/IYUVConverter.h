// How an effect asks for a part of the captured image while it works through it block by block.
#pragma once

// Thread: the worker only.
class IYUVConverter {
  public:
    virtual ~IYUVConverter() = default;

    // Writes the rectangle (rx, ry, rw, rh) of the captured image, in pixels, as "yuvx" pixels into
    // `dst`: `dstHeight` rows of `dstStride` pixels of four bytes. The rectangle may reach outside
    // the image (the nearest pixel inside stands in); what the rectangle leaves of `dst` is filled
    // with its last column and row. Returns 1.
    virtual int convertRect(void* dst, int dstStride, int dstHeight, int rx, int ry, int rw,
                            int rh) = 0;
};
