// Pencil sketch: every pixel is set against the Gaussian blur around it, so that what is darker than its surroundings becomes a
// stroke; a contrast curve, a vignette and the edge strength shape the grey value. Tiles, edges and the reasons for the structure
// of the code are at the top of stippling.cl, which precedes this file in the program.
//
// Idea: the blur is separable, so the rows of the tile are blurred first, HALO rows above and below included, and the columns of
// that give the full blur with 2 * 9 taps in place of 9 * 9. The vignette is a product of a column's and a row's factor; they are
// computed once per column and row of the work-group.

// The taps, written out: a loop within a phase would keep the phase from being vectorised over the work-items.
#define EACH_TAP(DO) DO(0) DO(1) DO(2) DO(3) DO(4) DO(5) DO(6) DO(7) DO(8)
#define TAPS (2 * HALO + 1)

// The weights around the centre, divided by their sum: the blur is then the plain weighted sum. Radii above HALO, for which the
// tile has no room, lose their outer taps.
INLINE void normaliseWeights(__local float* weights, __constant float* filter, int radius) {
  if (get_local_id(0) == 0 && get_local_id(1) == 0) {
    const int reach = min(radius, HALO);
    float sum = 0.0f;
    for (int tap = -reach; tap <= reach; ++tap)
      sum += filter[radius + tap];
    for (int tap = -HALO; tap <= HALO; ++tap)
      weights[HALO + tap] = tap >= -reach && tap <= reach ? filter[radius + tap] / sum : 0.0f;
  }
}

// (4 q (1 - q))^0.15 for the relative position q: the factor of one direction. Through base-2 functions, which are good to 3
// units in the last place and much cheaper than pow. The padding lies beyond q = 1; there the base is held at zero.
INLINE float vignetteFactor(int position, int size) {
  const float q = (float)position / (float)size;
  return exp2(0.15f * log2(fmax(4.0f * q * (1.0f - q), 0.0f)));
}

INLINE void prepareColumnsAndRows(__local float* column_vignette, __local float* row_vignette, __local int* inner_column,
                                  __local int* inner_row, int width, int height) {
  if (hasTile() && get_local_id(1) == 0) {
    column_vignette[get_local_id(0)] = vignetteFactor((int)get_global_id(0), width);
    inner_column[get_local_id(0)] = isInner((int)get_global_id(0), width);
  }
  if (hasTile() && get_local_id(0) == 0) {
    row_vignette[get_local_id(1)] = vignetteFactor((int)get_global_id(1), height);
    inner_row[get_local_id(1)] = isInner((int)get_global_id(1), height);
  }
}

// Blurs one row of the tile per row of work-items, starting with first_row, in all three channels.
INLINE void blurRows(__local float* red, __local float* green, __local float* blue, __local const uint* tile,
                     __local const float* weights, size_t first_row, size_t rows) {
  const size_t row = first_row + get_local_id(1);
  const size_t column = get_local_id(0);
  if (row < rows) {
    const size_t left = row * TILE_PITCH + column;
    float r = 0.0f;
    float g = 0.0f;
    float b = 0.0f;
#define ADD_TAP(tap)                                                                                                             \
  r += weights[tap] * (float)channelOf(tile[left + tap], RED_SHIFT);                                                             \
  g += weights[tap] * (float)channelOf(tile[left + tap], GREEN_SHIFT);                                                           \
  b += weights[tap] * (float)channelOf(tile[left + tap], BLUE_SHIFT);
    EACH_TAP(ADD_TAP)
#undef ADD_TAP
    red[row * TILE_EDGE + column] = r;
    green[row * TILE_EDGE + column] = g;
    blue[row * TILE_EDGE + column] = b;
  }
}

// Share of one channel in the grey value, from the blurred rows; rows[top] is the uppermost tap.
INLINE float sketchChannel(__local const float* rows, __local const float* weights, size_t top, uint pixel, int shift,
                           float luma) {
  float blurred = 0.0f;
#define ADD_TAP(tap) blurred += weights[tap] * rows[top + tap * TILE_EDGE];
  EACH_TAP(ADD_TAP)
#undef ADD_TAP
  return lightenChannel(blurred, pixel, shift, luma);
}

INLINE float sketch(float gray, float vignette, int edge) {
  const float squared = gray * gray;
  const float dark = squared * squared * gray;
  const float curved = clamp(dark * 0.7f + 0.3f * dark * dark, 0.0f, 1.0f);
  return applyEdge(curved * (0.75f + 0.25f * vignette), edge);
}

INLINE void sketchTile(__local float* gray, __local const uint* tile, __local const float* red_rows,
                       __local const float* green_rows, __local const float* blue_rows, __local const float* weights,
                       __local const float* column_vignette, __local const float* row_vignette, __local const int* inner_column,
                       __local const int* inner_row) {
  const size_t column = get_local_id(0);
  const size_t row = get_local_id(1);
  if (get_local_size(0) <= TILE_EDGE) {
    const size_t center = (row + HALO) * TILE_PITCH + column + HALO;
    const size_t top = row * TILE_EDGE + column;
    const uint pixel = tile[center];
    const float red = sketchChannel(red_rows, weights, top, pixel, RED_SHIFT, RED_LUMA);
    float green = 0.0f;
    if (get_local_size(1) <= TILE_EDGE)
      green = sketchChannel(green_rows, weights, top, pixel, GREEN_SHIFT, GREEN_LUMA);
    const float blue = sketchChannel(blue_rows, weights, top, pixel, BLUE_SHIFT, BLUE_LUMA);
    const int inner_edge = tileEdge(tile, center);
    const int edge = inner_column[column] & inner_row[row] ? inner_edge : FULL_EDGE;
    gray[row * TILE_EDGE + column] = sketch(red + green + blue, column_vignette[column] * row_vignette[row], edge);
  }
}

// One pixel straight from the image, for work-groups too large for a tile.
INLINE float sketchImage(__read_only image2d_t image, sampler_t sampler, __local const float* weights, int x, int y, int width,
                         int height) {
  float3 blurred = (float3)(0.0f, 0.0f, 0.0f);
  for (int dy = -HALO; dy <= HALO; ++dy)
    for (int dx = -HALO; dx <= HALO; ++dx) {
      const uint tap = packedPixel(image, sampler, x + dx, y + dy, width, height);
      blurred +=
          weights[HALO + dy] * weights[HALO + dx] *
          (float3)((float)channelOf(tap, RED_SHIFT), (float)channelOf(tap, GREEN_SHIFT), (float)channelOf(tap, BLUE_SHIFT));
    }
  const uint pixel = packedPixel(image, sampler, x, y, width, height);
  const int edge = isInner(x, width) & isInner(y, height) ? imageEdge(image, sampler, x, y, width, height) : FULL_EDGE;
  return sketch(lightenChannel(blurred.x, pixel, RED_SHIFT, RED_LUMA) +
                    lightenChannel(blurred.y, pixel, GREEN_SHIFT, GREEN_LUMA) +
                    lightenChannel(blurred.z, pixel, BLUE_SHIFT, BLUE_LUMA),
                vignetteFactor(x, width) * vignetteFactor(y, height), edge);
}

// input_width and input_height are those of the frame, not of the padded image: taps are clamped to the frame, so the right and
// lower rims look like the left and upper ones, and pixels of the padding are not written. filter holds 2 * filterRadius + 1
// weights; filterRadius is at most HALO.
__kernel void pencil_sketch(__read_only image2d_t src, __write_only image2d_t dst, sampler_t sampler, int input_width,
                            int input_height, __constant float* filter, int filterRadius) {
  __local uint tile[TILE_PITCH * TILE_PITCH];
  __local float red_rows[TILE_PITCH * TILE_EDGE];
  __local float green_rows[TILE_PITCH * TILE_EDGE];
  __local float blue_rows[TILE_PITCH * TILE_EDGE];
  __local float gray[TILE_EDGE * TILE_EDGE];
  __local float column_vignette[TILE_EDGE];
  __local float row_vignette[TILE_EDGE];
  __local int inner_column[TILE_EDGE];
  __local int inner_row[TILE_EDGE];
  __local float weights[TAPS];

  normaliseWeights(weights, filter, filterRadius);
  loadTile(tile, src, sampler, input_width, input_height);
  prepareColumnsAndRows(column_vignette, row_vignette, inner_column, inner_row, input_width, input_height);
  barrier(CLK_LOCAL_MEM_FENCE);

  const size_t rows = hasTile() ? get_local_size(1) + 2 * HALO : 0;
  blurRows(red_rows, green_rows, blue_rows, tile, weights, 0, rows);
  for (size_t first_row = get_local_size(1); first_row < rows; first_row += get_local_size(1))
    blurRows(red_rows, green_rows, blue_rows, tile, weights, first_row, rows);
  barrier(CLK_LOCAL_MEM_FENCE);

  sketchTile(gray, tile, red_rows, green_rows, blue_rows, weights, column_vignette, row_vignette, inner_column, inner_row);
  barrier(CLK_LOCAL_MEM_FENCE);

  const int2 p = (int2)((int)get_global_id(0), (int)get_global_id(1));
  if (p.x < input_width && p.y < input_height) {
    const float value = hasTile() ? gray[(int)get_local_id(1) * TILE_EDGE + (int)get_local_id(0)]
                                  : sketchImage(src, sampler, weights, p.x, p.y, input_width, input_height);
    write_imagef(dst, p, (float4)(value, value, value, 1.0f));
  }
}
