// The showcase's own small 3D toolkit: vectors, a look-at camera with a
// perspective projection to screen space, and sine and cosine that give the
// same bits on every system.
//
// The library takes vertices already projected to pixels; everything 3D is
// the host's business, and this is the host part of the demo.  The C
// library's sin and cos differ in the last bit between systems, which would
// change the gallery pictures between the Linux and the Windows build, so
// they are computed here from additions and multiplications only.
#ifndef KWR_EXAMPLES_CAMERA_H
#define KWR_EXAMPLES_CAMERA_H

#include <cmath>

namespace kwr_demo {

constexpr double kPi = 3.14159265358979323846;

// sin(x) for any finite x: reduced to [-pi/2, pi/2], then a Taylor series
// whose truncation error there is below 1e-15.
inline double sinExact(double x) {
    const double twoPi = 2.0 * kPi;
    x -= std::floor(x / twoPi + 0.5) * twoPi;  // now in [-pi, pi]
    if (x > kPi / 2) x = kPi - x;
    if (x < -kPi / 2) x = -kPi - x;
    const double x2 = x * x;
    double term = x, sum = x;
    for (int n = 1; n <= 11; ++n) {
        term *= -x2 / static_cast<double>((2 * n) * (2 * n + 1));
        sum += term;
    }
    return sum;
}

inline double cosExact(double x) { return sinExact(x + kPi / 2); }

struct Vec3 {
    double x = 0, y = 0, z = 0;
};

inline Vec3 operator+(Vec3 a, Vec3 b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline Vec3 operator-(Vec3 a, Vec3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline Vec3 operator*(Vec3 a, double s) { return {a.x * s, a.y * s, a.z * s}; }
inline double dot(Vec3 a, Vec3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline Vec3 cross(Vec3 a, Vec3 b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline Vec3 normalize(Vec3 a) {
    const double len = std::sqrt(dot(a, a));  // sqrt is exactly rounded everywhere
    return len > 0 ? a * (1.0 / len) : a;
}

// A point projected to the screen: pixel coordinates (row 0 at the top) and
// a depth in 0..1, smaller nearer, as the library's depth buffer wants it.
struct ScreenPoint {
    float x, y, z;
    bool visible;  // in front of the near plane
};

// A pinhole camera looking from `eye` at `target`.
class Camera {
public:
    Camera(Vec3 eye, Vec3 target, double fovYDegrees, int width, int height, double nearZ, double farZ)
        : eye_(eye), near_(nearZ), far_(farZ), cx_(width * 0.5), cy_(height * 0.5) {
        forward_ = normalize(target - eye);
        right_ = normalize(cross(forward_, Vec3{0, 1, 0}));
        up_ = cross(right_, forward_);
        const double half = fovYDegrees * kPi / 360.0;
        focal_ = cy_ * cosExact(half) / sinExact(half);
    }

    Vec3 eye() const { return eye_; }

    ScreenPoint project(Vec3 p) const {
        const Vec3 d = p - eye_;
        const double z = dot(d, forward_);
        if (z < near_) return {0, 0, 0, false};
        const double sx = cx_ + focal_ * dot(d, right_) / z;
        const double sy = cy_ - focal_ * dot(d, up_) / z;
        return {static_cast<float>(sx), static_cast<float>(sy), static_cast<float>((z - near_) / (far_ - near_)),
                true};
    }

    // The same point in clip space (x, y, z, w) for the clip-space calls:
    // w is the distance along the line of sight, z = 0 at the near plane and
    // z = w at the far one; x / w and y / w land where project() puts the
    // point.
    void clip(Vec3 p, float out[4]) const {
        const Vec3 d = p - eye_;
        const double w = dot(d, forward_);
        out[0] = static_cast<float>(focal_ / cx_ * dot(d, right_));
        out[1] = static_cast<float>(focal_ / cy_ * dot(d, up_));
        out[2] = static_cast<float>(far_ / (far_ - near_) * (w - near_));
        out[3] = static_cast<float>(w);
    }

private:
    Vec3 eye_, forward_, right_, up_;
    double near_, far_, cx_, cy_, focal_;
};

}  // namespace kwr_demo

#endif
