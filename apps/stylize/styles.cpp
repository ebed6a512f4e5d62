#include "styles.h"

#include "name_table.h"

#include <array>

namespace vorin::stylize {
namespace {

constexpr std::array kLightGreyNetworks = {Network{"", 0, "model_lightgrey_v19", true}};
constexpr std::array kCartoonNetworks = {Network{"", 0, "cartoon_model_slim5", false}};
constexpr std::array kTransferNetworks = {
    Network{"512", 0, "ensemble_out_r31_512_retrained_autoencoder", true},
    Network{"256", 1, "ensemble_out_r31_256_retrained_autoencoder", true},
    Network{"540p", 2, "ensemble_out_r31_c540p_s512_retrained_autoencoder", false},
};

constexpr std::array kStyles = {
    Style{"pencil", SttStylePencilSketch, "grey pencil lines on white, darker towards the corners", {}},
    Style{"stipple", SttStyleStippling, "a grainy drawing made of fine dots", {}},
    Style{"lightgrey", SttStyleLightGrey, "a light painting in greys (neural)", kLightGreyNetworks},
    Style{"cartoon", SttStyleCartoon, "flat colours, as in a cartoon (neural)", kCartoonNetworks},
    Style{"transfer", SttStyleTransfer, "the look of the --style-image (neural)", kTransferNetworks},
};

} // namespace

std::span<const Style> styles() {
  return kStyles;
}

const Style* findStyle(std::string_view name) {
  return findByName(styles(), name);
}

std::string styleNames() {
  return joinNames(styles());
}

} // namespace vorin::stylize
