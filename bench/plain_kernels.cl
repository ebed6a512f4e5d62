// The kernels that the library's are compared with: the copy is the least that a filter can do, the plain filters are their
// definitions, with one image read for every tap. Arguments and pictures are those of the library's kernels.

__kernel void copy_image(__read_only image2d_t src, __write_only image2d_t dst, sampler_t sampler) {
  const int2 p = (int2)((int)get_global_id(0), (int)get_global_id(1));
  write_imagef(dst, p, read_imagef(src, sampler, p));
}

// Pixel at p + (dx, dy). The sampler clamps to the image; what is beyond `last`, padding, is clamped here.
static float4 tap(__read_only image2d_t src, sampler_t sampler, int2 p, int dx, int dy, int2 last) {
  return read_imagef(src, sampler, min(p + (int2)(dx, dy), last));
}

static float edge_strength(__read_only image2d_t src, sampler_t sampler, int2 p, int2 last) {
  if (p.x <= 0 || p.x >= last.x || p.y <= 0 || p.y >= last.y)
    return 1.0f;
  const float4 gx = tap(src, sampler, p, -1, -1, last) + 2.0f * tap(src, sampler, p, -1, 0, last) +
                    tap(src, sampler, p, -1, 1, last) - tap(src, sampler, p, 1, -1, last) -
                    2.0f * tap(src, sampler, p, 1, 0, last) - tap(src, sampler, p, 1, 1, last);
  const float4 gy = tap(src, sampler, p, -1, -1, last) + 2.0f * tap(src, sampler, p, 0, -1, last) +
                    tap(src, sampler, p, 1, -1, last) - tap(src, sampler, p, -1, 1, last) -
                    2.0f * tap(src, sampler, p, 0, 1, last) - tap(src, sampler, p, 1, 1, last);
  const float4 strength = clamp(sqrt(gx * gx + gy * gy), 0.0f, 1.0f);
  return max(strength.x, max(strength.y, strength.z));
}

static float lightened_gray(float4 reference, float4 pixel) {
  const float4 lighten = min(1.0f, (1.2f - reference) / (1.1999f - pixel));
  return dot(lighten.xyz, (float3)(0.3f, 0.59f, 0.11f));
}

static float4 by_edge(float4 out, float edge) {
  if (edge < 0.15f)
    out = min(out * 1.8f, 1.0f);
  else if (edge > 0.3f)
    out = out * out;
  out.w = 1.0f;
  return out;
}

__kernel void plain_pencil_sketch(__read_only image2d_t src, __write_only image2d_t dst, sampler_t sampler, int input_width,
                                  int input_height, __constant float* filter, int filterRadius) {
  const int2 p = (int2)((int)get_global_id(0), (int)get_global_id(1));
  const int2 last = (int2)(input_width - 1, input_height - 1);
  const float edge = edge_strength(src, sampler, p, last);

  float weight_sum = 0.0f;
  for (int i = 0; i < 2 * filterRadius + 1; ++i)
    weight_sum += filter[i];
  float4 blurred = 0.0f;
  for (int i = -filterRadius; i <= filterRadius; ++i)
    for (int j = -filterRadius; j <= filterRadius; ++j)
      blurred += filter[filterRadius + j] * filter[filterRadius + i] * tap(src, sampler, p, i, j, last);
  blurred = min(1.0f, blurred / weight_sum / weight_sum);

  float4 out = pow((float4)(lightened_gray(blurred, tap(src, sampler, p, 0, 0, last))), 5.0f);
  out = clamp(out * 0.7f + 0.3f * out * out, 0.0f, 1.0f);
  const float2 q = (float2)((float)p.x, (float)p.y) / (float2)((float)input_width, (float)input_height);
  out *= 0.75f + 0.25f * pow(16.0f * q.x * q.y * (1.0f - q.x) * (1.0f - q.y), 0.15f);
  write_imagef(dst, p, by_edge(out, edge));
}

__kernel void plain_stippling(__read_only image2d_t src, __write_only image2d_t dst, sampler_t sampler, int input_width,
                              int input_height, __global const uchar* randomX, __global const uchar* randomY, int filterRadius) {
  const int2 p = (int2)((int)get_global_id(0), (int)get_global_id(1));
  const int2 last = (int2)(input_width - 1, input_height - 1);
  const int entry = p.y * input_width + p.x;
  const float4 displaced = tap(src, sampler, p, randomX[entry] - filterRadius, randomY[entry] - filterRadius, last);
  const float4 out = pow((float4)(lightened_gray(displaced, tap(src, sampler, p, 0, 0, last))), 4.0f);
  write_imagef(dst, p, by_edge(out, edge_strength(src, sampler, p, last)));
}
