// WebP files.
#include <webp/decode.h>
#include <webp/demux.h>
#include <webp/encode.h>
#include <webp/mux.h>

#include <memory>

#include "apps/posteffect/Failure.h"
#include "apps/posteffect/PictureFormat.h"

namespace posteffect {
namespace {

constexpr int kLosslessFormat = 2;  // as the decoder's features count

struct Free {
    void operator()(WebPDemuxer* demuxer) const { WebPDemuxDelete(demuxer); }
    void operator()(WebPMux* mux) const { WebPMuxDelete(mux); }
};

// The names of chunks and where their bytes go.
struct Chunk {
    const char* name;
    std::vector<std::uint8_t> Metadata::*bytes;
};
constexpr Chunk kChunks[] = {
    {"ICCP", &Metadata::icc}, {"EXIF", &Metadata::exif}, {"XMP ", &Metadata::xmp}};

bool IsWebp(const FileBytes& file) {
    return BeginsWith(file, "RIFF", 4) && BeginsWith(file, "WEBP", 4, 8);
}

Metadata ReadChunks(const WebPDemuxer* demuxer) {
    Metadata metadata;
    for (const Chunk& chunk : kChunks) {
        WebPChunkIterator at = {};
        if (WebPDemuxGetChunk(demuxer, chunk.name, 1, &at)) {
            (metadata.*chunk.bytes).assign(at.chunk.bytes, at.chunk.bytes + at.chunk.size);
        }
        WebPDemuxReleaseChunkIterator(&at);
    }
    return metadata;
}

Picture DecodeWebp(const std::string& name, const FileBytes& file) {
    WebPBitstreamFeatures features = {};
    const Failure damaged(kExitUnreadable, name, "damaged or truncated WebP: get a complete copy");
    if (WebPGetFeatures(file.data(), file.size(), &features) != VP8_STATUS_OK) throw damaged;
    if (features.has_animation) {
        throw Failure(kExitUnsupported, name, "moving WebP: save one of its pictures first");
    }
    CheckPictureSize(name, features.width, features.height);
    // It knows headers whose size no picture bears out, before memory is touched for it.
    const WebPData data = {file.data(), file.size()};
    const std::unique_ptr<WebPDemuxer, Free> demuxer(WebPDemux(&data));
    if (!demuxer) throw damaged;
    Picture picture;
    picture.lossless = features.format == kLosslessFormat;
    picture.rgba.size = {features.width, features.height};
    picture.rgba.opaque = !features.has_alpha;
    picture.rgba.bytes = PixelBytes(static_cast<std::size_t>(picture.rgba.stride()) *
                                    static_cast<std::size_t>(features.height));
    if (!WebPDecodeRGBAInto(file.data(), file.size(), picture.rgba.bytes.data(),
                            picture.rgba.bytes.size(), picture.rgba.stride())) {
        throw damaged;
    }
    // What is stored as alpha beside the word that there is none.
    if (picture.rgba.opaque) MakeOpaque(&picture.rgba);
    picture.segments = MakeSegments(ReadChunks(demuxer.get()));
    return picture;
}

// The picture alone.
class WebpWriter {
  public:
    WebpWriter() {
        WebPMemoryWriterInit(&m_memory);
        m_valid = WebPPictureInit(&m_picture) != 0;
        m_picture.writer = WebPMemoryWrite;
        m_picture.custom_ptr = &m_memory;
    }
    ~WebpWriter() {
        WebPPictureFree(&m_picture);
        WebPMemoryWriterClear(&m_memory);
    }
    WebpWriter(const WebpWriter&) = delete;
    WebpWriter& operator=(const WebpWriter&) = delete;

    bool write(const RgbaPixels& rgba, const WebPConfig& config) {
        m_picture.use_argb = config.lossless;
        m_picture.width = rgba.size.width;
        m_picture.height = rgba.size.height;
        const auto import = rgba.opaque ? WebPPictureImportRGBX : WebPPictureImportRGBA;
        return m_valid && import(&m_picture, rgba.row(0), rgba.stride()) != 0 &&
               WebPEncode(&config, &m_picture) != 0;
    }
    WebPData data() const { return {m_memory.mem, m_memory.size}; }

  private:
    WebPPicture m_picture{};
    WebPMemoryWriter m_memory{};
    bool m_valid = false;
};

FileBytes WithChunks(const WebPData& image, const Metadata& metadata) {
    const std::unique_ptr<WebPMux, Free> mux(WebPMuxNew());
    if (!mux || WebPMuxSetImage(mux.get(), &image, 0) != WEBP_MUX_OK) return {};
    for (const Chunk& chunk : kChunks) {
        const std::vector<std::uint8_t>& bytes = metadata.*chunk.bytes;
        const WebPData data = {bytes.data(), bytes.size()};
        if (!bytes.empty() && WebPMuxSetChunk(mux.get(), chunk.name, &data, 1) != WEBP_MUX_OK) {
            return {};
        }
    }
    WebPData whole = {};
    if (WebPMuxAssemble(mux.get(), &whole) != WEBP_MUX_OK) return {};
    FileBytes file(whole.bytes, whole.bytes + whole.size);
    WebPDataClear(&whole);
    return file;
}

FileBytes EncodeWebp(const std::string& name, Picture* picture, std::optional<int> quality) {
    MakeRgba(picture);
    WebPConfig config;
    const bool lossless = !quality && picture->lossless;
    bool done = WebPConfigInit(&config) != 0;
    config.quality = static_cast<float>(quality.value_or(kDefaultQuality));
    if (lossless) {
        constexpr int kUsualEffort = 6;
        done = done && WebPConfigLosslessPreset(&config, kUsualEffort) != 0;
        config.exact = 1;  // colours that show nowhere are kept, too
    }
    WebpWriter writer;
    done = done && writer.write(picture->rgba, config);
    FileBytes file;
    if (done) file = WithChunks(writer.data(), ReadMetadata(picture->segments));
    if (file.empty()) {
        throw Failure(kExitSomeFailed, name, "not enough memory: use a smaller picture");
    }
    return file;
}

}  // namespace

const PictureFormat kWebpFormat = {"WebP", "webp",     WEBP_MAX_DIMENSION,
                                   IsWebp, DecodeWebp, EncodeWebp};

}  // namespace posteffect
