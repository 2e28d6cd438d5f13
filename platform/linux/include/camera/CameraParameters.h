// Camera parameters: keys and values, flattened as "key=value;key=value".
#pragma once

#include <utils/String8.h>

#include <map>
#include <string>

namespace android {

class CameraParameters {
  public:
    CameraParameters() = default;
    explicit CameraParameters(const String8& flattened) { unflatten(flattened); }

    // Keys in alphabetical order.
    String8 flatten() const;
    // Replaces everything. Tolerant: what has no '=' or an empty key is passed over, values may be
    // empty, of repeated keys the last counts.
    void unflatten(const String8& flattened);

    void set(const char* key, const char* value);
    void set(const char* key, int value);
    // Null when the key is absent. Valid until the parameters change.
    const char* get(const char* key) const;
    // -1 when the key is absent.
    int getInt(const char* key) const;
    void remove(const char* key);

  private:
    std::map<std::string, std::string, std::less<>> m_values;
};

}  // namespace android
