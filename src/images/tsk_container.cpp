#include "images/container.h"

#ifdef KEST_LIBTSK

#include <algorithm>
#include <tsk/libtsk.h>

#include "portable/loaded_library.h"

namespace kest {

namespace {

struct tsk_calls {
    decltype(&tsk_img_open_utf8_sing) open = nullptr;
    decltype(&tsk_img_read) read = nullptr;
};

class tsk_container : public container {
public:
    tsk_container(TSK_IMG_INFO* image, const tsk_calls& tsk) : m_tsk(tsk), m_image(image) {
        size = static_cast<std::uint64_t>(std::max<TSK_OFF_T>(image->size, 0));
        for (int index = 0; image->images != nullptr && index < image->num_img; ++index)
            files.emplace_back(image->images[index]);
    }

    arrival read(std::uint64_t offset, std::span<std::uint8_t> buffer) override {
        const ssize_t got =
            m_tsk.read(m_image, static_cast<TSK_OFF_T>(offset), reinterpret_cast<char*>(buffer.data()), buffer.size());
        return {static_cast<std::size_t>(std::clamp<ssize_t>(got, 0, static_cast<ssize_t>(buffer.size())))};
    }

private:
    const tsk_calls m_tsk;
    TSK_IMG_INFO* const m_image;
};

}  // namespace

std::unique_ptr<container> open_other(const std::string& path, image_form form, std::string& error) {
    tsk_calls tsk;
    uni::loaded_library library(KEST_LIBTSK);
    library.find(tsk.open, "tsk_img_open_utf8_sing");
    library.find(tsk.read, "tsk_img_read");
    if (!library.whole()) {
        error = KEST_LIBTSK " is not there";
        return nullptr;
    }
    constexpr unsigned usual_sectors = 0;
    const bool split = form == image_form::split;
    TSK_IMG_INFO* const image = tsk.open(path.c_str(), split ? TSK_IMG_TYPE_RAW : TSK_IMG_TYPE_DETECT, usual_sectors);
    if (image != nullptr && (split || image->itype != TSK_IMG_TYPE_RAW))  // what it does not understand is raw to it
        return std::make_unique<tsk_container>(image, tsk);
    error = "libtsk does not understand it";
    return nullptr;
}

}  // namespace kest

#else

namespace kest {

std::unique_ptr<container> open_other(const std::string&, image_form, std::string&) {
    return nullptr;
}

}  // namespace kest

#endif
