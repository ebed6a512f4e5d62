// Stippling: every pixel is set against one randomly displaced neighbour, darkened where the neighbour is brighter, and sharpened
// or bleached by the strength of the edge below it. The file opens with what this kernel and pencil_sketch share; the build joins
// both files, this one first, into one program.
//
// Idea of both kernels: a work-group reads each pixel of its square and of a 4-pixel rim once, into local memory, packed to the
// 8-bit values that the image holds. Everything after that runs on local memory in phases separated by barriers, and the image
// writes are a phase of their own.
//
// Two habits below serve compilers that run a work-group as loops over its work-items (OpenCL on a CPU):
// - A phase computes its addresses again from the work-item's ids, and passes its result on through local memory. A private value
//   that lives across a barrier would have to be kept once per work-item, and addresses kept that way cannot be vectorised.
// - Green has a block of its own between red and blue, behind a test of the work-group's size that is always true there. Without
//   it the compiler would pair the channels into short vectors and then fail to vectorise over the work-items.
//
// Source: the Sobel operator (I. Sobel, 1968) for the edges; Rec. 601 luma, rounded to two digits, for the grey value.

// Largest work-group edge that has a tile. A larger work-group reads the image for every tap instead. GPUs, whose work-groups hold
// 1024 work-items at most, get edges of 8 and 16: the arrays of pencil_sketch then take 8 KiB of local memory, and several
// work-groups run at once. A processor, which its compiler names, gets an edge of 32, and 26 KiB that it has in its cache.
#if defined(__x86_64__) || defined(__aarch64__)
#define TILE_EDGE 32
#else
#define TILE_EDGE 16
#endif
// Reach of the blur and of the displacement, in pixels.
#define HALO 4
#define TILE_PITCH (TILE_EDGE + 2 * HALO)

// Position of a channel within a packed pixel, and its weight in the grey value.
#define RED_SHIFT 0
#define GREEN_SHIFT 8
#define BLUE_SHIFT 16
#define RED_LUMA 0.3f
#define GREEN_LUMA 0.59f
#define BLUE_LUMA 0.11f

// Squared edge strengths in steps of 1/255. The thresholds are 0.15 and 0.3 of full scale: (0.15 * 255)^2 = 1463.06 and
// (0.3 * 255)^2 = 5852.25. The pixels are integers, so the comparison is exact, and it agrees with the one in floating point: the
// nearest sums lie further from the threshold than the rounding errors of that computation reach.
#define FAINT_EDGE_MAX 1463
#define STRONG_EDGE_MIN 5853
#define FULL_EDGE (255 * 255)

// Helpers must be inlined: an outlined helper that works on a kernel's local array is miscompiled by PoCL 3.1.
#define INLINE __attribute__((always_inline)) static inline

INLINE bool hasTile(void) {
  return get_local_size(0) <= TILE_EDGE;
}

// Pixel at (x, y), clamped to the frame, as the 8-bit values it was read from: red lowest, alpha highest.
INLINE uint packedPixel(__read_only image2d_t image, sampler_t sampler, int x, int y, int width, int height) {
  const float4 color = read_imagef(image, sampler, (int2)(clamp(x, 0, width - 1), clamp(y, 0, height - 1)));
  return as_uint(convert_uchar4(convert_uint4(color * 255.0f + 0.5f)));
}

INLINE int channelOf(uint pixel, int shift) {
  return (int)((pixel >> shift) & 255u);
}

// Fills the tile: the work-group's square plus HALO pixels on every side.
INLINE void loadTile(__local uint* tile, __read_only image2d_t image, sampler_t sampler, int width, int height) {
  const int edge = (int)get_local_size(0);
  const int span = hasTile() ? edge + 2 * HALO : 0;
  const int left = (int)get_group_id(0) * edge - HALO;
  const int top = (int)get_group_id(1) * edge - HALO;
  for (int y = (int)get_local_id(1); y < span; y += edge)
    for (int x = (int)get_local_id(0); x < span; x += edge)
      tile[y * TILE_PITCH + x] = packedPixel(image, sampler, left + x, top + y, width, height);
}

INLINE int channelEdge(uint nw, uint n, uint ne, uint w, uint e, uint sw, uint s, uint se, int shift) {
  const int gx = channelOf(nw, shift) + 2 * channelOf(w, shift) + channelOf(sw, shift) - channelOf(ne, shift) -
                 2 * channelOf(e, shift) - channelOf(se, shift);
  const int gy = channelOf(nw, shift) + 2 * channelOf(n, shift) + channelOf(ne, shift) - channelOf(sw, shift) -
                 2 * channelOf(s, shift) - channelOf(se, shift);
  return gx * gx + gy * gy;
}

INLINE int largestEdge(uint nw, uint n, uint ne, uint w, uint e, uint sw, uint s, uint se) {
  return max(max(channelEdge(nw, n, ne, w, e, sw, s, se, RED_SHIFT), channelEdge(nw, n, ne, w, e, sw, s, se, GREEN_SHIFT)),
             channelEdge(nw, n, ne, w, e, sw, s, se, BLUE_SHIFT));
}

// Squared edge strength of the strongest channel around tile[center].
INLINE int tileEdge(__local const uint* tile, size_t center) {
  return largestEdge(tile[center - TILE_PITCH - 1], tile[center - TILE_PITCH], tile[center - TILE_PITCH + 1], tile[center - 1],
                     tile[center + 1], tile[center + TILE_PITCH - 1], tile[center + TILE_PITCH], tile[center + TILE_PITCH + 1]);
}

// The same, straight from the image.
INLINE int imageEdge(__read_only image2d_t image, sampler_t sampler, int x, int y, int width, int height) {
  return largestEdge(
      packedPixel(image, sampler, x - 1, y - 1, width, height), packedPixel(image, sampler, x, y - 1, width, height),
      packedPixel(image, sampler, x + 1, y - 1, width, height), packedPixel(image, sampler, x - 1, y, width, height),
      packedPixel(image, sampler, x + 1, y, width, height), packedPixel(image, sampler, x - 1, y + 1, width, height),
      packedPixel(image, sampler, x, y + 1, width, height), packedPixel(image, sampler, x + 1, y + 1, width, height));
}

INLINE int isInner(int position, int size) {
  return position > 0 && position < size - 1;
}

// Share of one channel in the grey value: how far the reference value (0 to 255) outshines the pixel, 1 where it does not. The
// constants differ so that the divisor stays above zero. A blur can end a rounding error above white, hence the inner fmin().
INLINE float lightenChannel(float reference, uint pixel, int shift, float luma) {
  return luma * fmin(1.0f, (1.2f - fmin(1.0f, reference * (1.0f / 255.0f))) /
                               (1.1999f - (float)channelOf(pixel, shift) * (1.0f / 255.0f)));
}

// Flat areas are bleached, strong edges darkened. Both outcomes are computed so that the choice needs no branch.
INLINE float applyEdge(float value, int edge) {
  const float bleached = fmin(value * 1.8f, 1.0f);
  const float darkened = value * value;
  return edge <= FAINT_EDGE_MAX ? bleached : (edge >= STRONG_EDGE_MIN ? darkened : value);
}

INLINE float stipple(float gray, int edge) {
  const float squared = gray * gray;
  return applyEdge(squared * squared, edge);
}

INLINE float displacedChannel(uint displaced, uint pixel, int shift, float luma) {
  return lightenChannel((float)channelOf(displaced, shift), pixel, shift, luma);
}

// A table entry as a displacement; limited to the tile, so that no table can make the kernel read outside its local array.
INLINE int displacement(uchar entry, int radius) {
  return clamp((int)entry - radius, -HALO, HALO);
}

INLINE void stippleTile(__local float* gray, __local const uint* tile, __local const int* inner_column,
                        __local const int* inner_row, __global const uchar* random_x, __global const uchar* random_y, int pitch,
                        int radius) {
  const size_t column = get_local_id(0);
  const size_t row = get_local_id(1);
  if (get_local_size(0) <= TILE_EDGE) {
    const size_t center = (row + HALO) * TILE_PITCH + column + HALO;
    const size_t group_entry = (get_group_id(1) * (size_t)pitch + get_group_id(0)) * get_local_size(0);
    const size_t entry = group_entry + row * (size_t)pitch + column;
    const uint pixel = tile[center];
    const uint displaced =
        tile[(int)center + displacement(random_y[entry], radius) * TILE_PITCH + displacement(random_x[entry], radius)];
    const float red = displacedChannel(displaced, pixel, RED_SHIFT, RED_LUMA);
    float green = 0.0f;
    if (get_local_size(1) <= TILE_EDGE)
      green = displacedChannel(displaced, pixel, GREEN_SHIFT, GREEN_LUMA);
    const float blue = displacedChannel(displaced, pixel, BLUE_SHIFT, BLUE_LUMA);
    const int inner_edge = tileEdge(tile, center);
    const int edge = inner_column[column] & inner_row[row] ? inner_edge : FULL_EDGE;
    gray[row * TILE_EDGE + column] = stipple(red + green + blue, edge);
  }
}

INLINE float stippleImage(__read_only image2d_t image, sampler_t sampler, int x, int y, int width, int height,
                          __global const uchar* random_x, __global const uchar* random_y, int radius) {
  const size_t entry = (size_t)y * (size_t)width + (size_t)x;
  const uint pixel = packedPixel(image, sampler, x, y, width, height);
  const uint displaced = packedPixel(image, sampler, x + displacement(random_x[entry], radius),
                                     y + displacement(random_y[entry], radius), width, height);
  const int edge = isInner(x, width) & isInner(y, height) ? imageEdge(image, sampler, x, y, width, height) : FULL_EDGE;
  return stipple(displacedChannel(displaced, pixel, RED_SHIFT, RED_LUMA) +
                     displacedChannel(displaced, pixel, GREEN_SHIFT, GREEN_LUMA) +
                     displacedChannel(displaced, pixel, BLUE_SHIFT, BLUE_LUMA),
                 edge);
}

// input_width and input_height are those of the padded image; the tables have one entry per pixel of it, 0 to 2 * filterRadius.
// filterRadius is at most HALO; displacements beyond it are shortened to it. The tables are __global although they never change:
// at full HD they hold 2 MB each, and a device need offer no more than 64 KB of __constant memory.
__kernel void stippling(__read_only image2d_t src, __write_only image2d_t dst, sampler_t sampler, int input_width,
                        int input_height, __global const uchar* randomX, __global const uchar* randomY, int filterRadius) {
  __local uint tile[TILE_PITCH * TILE_PITCH];
  __local float gray[TILE_EDGE * TILE_EDGE];
  __local int inner_column[TILE_EDGE];
  __local int inner_row[TILE_EDGE];

  loadTile(tile, src, sampler, input_width, input_height);
  if (get_local_id(1) == 0 && get_local_id(0) < TILE_EDGE)
    inner_column[get_local_id(0)] = isInner((int)get_global_id(0), input_width);
  if (get_local_id(0) == 0 && get_local_id(1) < TILE_EDGE)
    inner_row[get_local_id(1)] = isInner((int)get_global_id(1), input_height);
  barrier(CLK_LOCAL_MEM_FENCE);

  stippleTile(gray, tile, inner_column, inner_row, randomX, randomY, input_width, filterRadius);
  barrier(CLK_LOCAL_MEM_FENCE);

  const int2 p = (int2)((int)get_global_id(0), (int)get_global_id(1));
  if (p.x < input_width && p.y < input_height) {
    const float value = hasTile()
                            ? gray[(int)get_local_id(1) * TILE_EDGE + (int)get_local_id(0)]
                            : stippleImage(src, sampler, p.x, p.y, input_width, input_height, randomX, randomY, filterRadius);
    write_imagef(dst, p, (float4)(value, value, value, 1.0f));
  }
}
