#!/usr/bin/env bash
# Looks at the built library $1: what it shows, what it needs, how it is hardened.
set -euo pipefail
library=$1
status=0
complain() { echo "$1" >&2; status=1; }

# Shown: the factory, the conversion routines, the wrappers, the effects and the parameter readers.
symbols=$(nm -D --defined-only -C "$library" | sed 's/^[0-9a-f]* [A-Za-z] //')
unexpected=$(grep -vE '^(createPostEffect|destroyPostEffect|describeRenderer|findLookUpFile|setTiltShiftAngle|tiltShiftAngle)$|^sp2yuvx?s?\(|^(vtable|typeinfo( name)?) for (GL|GE|SinglePassEffect|CurveEffect|RampEffect|BlurEffect|FocusEffect|SketchEffect|android::GECameraParameters)|^(non-virtual thunk to )?(GL|GE)[A-Za-z0-9]*::|^(SinglePassEffect|CurveEffect|RampEffect|BlurEffect|FocusEffect|SketchEffect)::|^android::GECameraParameters::' <<<"$symbols" || true)
[[ -z $unexpected ]] || complain "shown without need: $unexpected"
for symbol in createPostEffect destroyPostEffect describeRenderer findLookUpFile \
    'sp2yuv(void*, void const*, int, int)' \
    'sp2yuvx(void*, void const*, int, int)' \
    'sp2yuvx(void*, int, void const*, int, int)' \
    'sp2yuvx(void*, void const*, int, int, int, int, int, int)' \
    'sp2yuvxs(void*, int, void const*, int, int, int, int, int, int)' \
    'sp2yuvxs(void*, int, int, void const*, int, int, int, int, int, int)' \
    'sp2yuvxs(void*, int, int, void const*, void const*, int, int, int, int, int, int)' \
    'GLTexture::Bind()' 'GLFbo::Init()' 'GLProgram::Use()' 'GEManager::GEManager()' \
    'GEShader::BindSrcTexture()' 'GEShaderBypass::GEShaderBypass()' \
    'GEShaderVignette::GEShaderVignette()' \
    'android::GECameraParameters::getGPUEffect(int*)'; do
    grep -qxF "$symbol" <<<"$symbols" || complain "not shown: $symbol"
done

needed=$(readelf -dW "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
unexpected=$(grep -vE '^(libEGL\.so\.1|libGLESv2\.so\.2|libhwy\.so\.1|libpthread\.so\.0|libstdc\+\+\.so\.6|libm\.so\.6|libgcc_s\.so\.1|libc\.so\.6|ld-linux.*)$' <<<"$needed" || true)
[[ -z $unexpected ]] || complain "needs: $unexpected"

"${BASH_SOURCE%/*}/check-hardening.sh" "$library" || status=1
exit $status
