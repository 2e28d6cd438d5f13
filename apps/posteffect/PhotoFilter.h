// Sends photos through the library.
#pragma once

#include <posteffect/Renderer.h>

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "apps/posteffect/EffectArguments.h"
#include "apps/posteffect/Geometry.h"
#include "apps/posteffect/YuvPicture.h"

namespace posteffect {

class ServiceSession;

struct PhotoFilter {
    ChosenEffect chosen;
    std::optional<Part> crop;   // of the upright picture; all of it by default
    std::optional<Size> block;  // chosen for the picture by default
};

// Whether any pixel may come out different.
bool Changes(const std::vector<PhotoFilter>& chain);

// One service of the library for many photos: starting one takes longer than a small photo does.
// Thread: any; photos of several threads go through one after the other.
class PhotoService {
  public:
    PhotoService();
    ~PhotoService();
    PhotoService(const PhotoService&) = delete;
    PhotoService& operator=(const PhotoService&) = delete;

    // Filters in place, in the order of the chain. `name` stands for the file in messages. Throws
    // Failure: wrong use where the block does not fit, no GPU, or a limit that was met.
    void filter(const std::string& name, const std::vector<PhotoFilter>& chain,
                YuvPicture* picture);

  private:
    void apply(const std::string& name, const PhotoFilter& filter, YuvPicture* picture);
    const PostEffectRenderer& renderer();

    std::mutex m_mutex;
    std::unique_ptr<ServiceSession> m_session;     // null until there is work, and after a fault
    std::optional<PostEffectRenderer> m_renderer;  // once it was asked for; all zeros: none
};

}  // namespace posteffect
