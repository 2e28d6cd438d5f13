#include "engine/DisplaySize.h"

#include <fcntl.h>
#include <linux/fb.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

#include "platform/DevicePath.h"

thread_local int g_Disp_Width = 960;
thread_local int g_Disp_Height = 544;

void ReadDisplaySize() {
    const int fd = platform::OpenDevice("/dev/graphics/fb0", O_RDWR);
    if (fd < 0) return;
    fb_var_screeninfo info{};
    if (ioctl(fd, FBIOGET_VSCREENINFO, &info) == 0) {
        g_Disp_Width = static_cast<int>(std::max(info.xres, info.yres));
        g_Disp_Height = static_cast<int>(std::min(info.xres, info.yres));
    }
    close(fd);
}
