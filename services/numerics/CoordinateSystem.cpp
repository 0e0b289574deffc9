// Coordinate systems: building an orthonormal frame and mapping points to the parent system.
#include "BrelonNumerics.h"

#include <cmath>

namespace {

using Vec3 = BrelonMatrix<3, 1, double>;

constexpr double kPi = 3.14159265358979323846;

Vec3 Cross(const Vec3& a, const Vec3& b) {
    return Vec3(a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]);
}

double Length(const Vec3& v) {
    return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

// Scales `v` to unit length; false (and `v` untouched) for a zero or non-finite length.
bool Normalise(Vec3& v) {
    const double length = Length(v);
    if (!(length > 0.0) || !std::isfinite(length)) {
        return false;
    }
    v = Vec3(v[0] / length, v[1] / length, v[2] / length);
    return true;
}

// The parent axis that makes the largest angle with the unit vector `z`.
Vec3 MostPerpendicularAxis(const Vec3& z) {
    size_t best = 0;
    for (size_t i = 1; i < 3; ++i) {
        if (std::fabs(z[i]) < std::fabs(z[best])) {
            best = i;
        }
    }
    Vec3 axis;
    axis[best] = 1.0;
    return axis;
}

// Sine and cosine of an angle. In degrees the angle is first reduced to a quarter turn, so
// that whole multiples of 90 degrees give exact zeros and ones: a point at 90 degrees on a
// cylinder lies exactly on the y axis, as a user who typed 90 expects.
void SinCos(double angle, bool degrees, double& s, double& c) {
    if (!degrees || !std::isfinite(angle)) {
        s = std::sin(angle);
        c = std::cos(angle);
        return;
    }
    double reduced = std::fmod(angle, 360.0);
    if (reduced < 0.0) {
        reduced += 360.0;
    }
    if (reduced >= 360.0) { // a tiny negative angle rounds up to a full turn
        reduced = 0.0;
    }
    const int quarter = static_cast<int>(reduced / 90.0) & 3;
    const double rest = (reduced - 90.0 * quarter) * (kPi / 180.0);
    const double rs = std::sin(rest);
    const double rc = std::cos(rest);
    // Turning by whole quarters swaps and negates sine and cosine exactly.
    const double sines[4] = {rs, rc, -rs, -rc};
    const double cosines[4] = {rc, -rs, -rc, rs};
    s = sines[quarter];
    c = cosines[quarter];
}

// The point in this system's own Cartesian frame (before rotation and translation).
Vec3 LocalCartesian(BrelonCoordinateSystem::Type type, bool degrees, const Vec3& p) {
    double s1 = 0.0, c1 = 0.0;
    switch (type) {
    case BrelonCoordinateSystem::CYLINDRICAL:
        SinCos(p[1], degrees, s1, c1);
        return Vec3(p[0] * c1, p[0] * s1, p[2]);
    case BrelonCoordinateSystem::SPHERICAL: {
        double s2 = 0.0, c2 = 0.0;
        SinCos(p[1], degrees, s1, c1);
        SinCos(p[2], degrees, s2, c2);
        return Vec3(p[0] * s1 * c2, p[0] * s1 * s2, p[0] * c1);
    }
    default:
        return p;
    }
}

} // namespace

BrelonCoordinateSystem::BrelonCoordinateSystem()
    : type(CARTESIAN), origin(), xDirection(1.0, 0.0, 0.0), yDirection(0.0, 1.0, 0.0),
      zDirection(0.0, 0.0, 1.0), convention(ANGLES_IN_DEGREES) {}

BrelonCoordinateSystem::BrelonCoordinateSystem(Type type_, const Vec3& origin_,
                                               const Vec3& zDirection_, const Vec3& xDirection_,
                                               CoordConvention convention_)
    : type(type_), origin(origin_), xDirection(xDirection_), yDirection(), zDirection(zDirection_),
      convention(convention_) {
    // Degenerate directions come from user decks; rather than spread NaNs into every node
    // expressed in this system, fall back to the nearest frame that is well defined.
    if (!Normalise(zDirection)) {
        zDirection = Vec3(0.0, 0.0, 1.0);
    }
    yDirection = Cross(zDirection, xDirection);
    if (!Normalise(yDirection)) {
        yDirection = Cross(zDirection, MostPerpendicularAxis(zDirection));
        Normalise(yDirection);
    }
    xDirection = Cross(yDirection, zDirection);
}

bool BrelonCoordinateSystem::operator==(const BrelonCoordinateSystem& other) const {
    return type == other.type && origin == other.origin && xDirection == other.xDirection &&
           yDirection == other.yDirection && zDirection == other.zDirection &&
           convention == other.convention;
}

Vec3 BrelonCoordinateSystem::ExpressInParentCartesianSystem(const Vec3& point) const {
    const Vec3 local = LocalCartesian(type, convention != ANGLES_IN_RADIANS, point);
    Vec3 result;
    for (size_t i = 0; i < 3; ++i) {
        result[i] = origin[i] + local[0] * xDirection[i] + local[1] * yDirection[i] +
                    local[2] * zDirection[i];
    }
    return result;
}

const char* BrelonCoordinateSystem::GetTypeString() const {
    switch (type) {
    case CARTESIAN:
        return "CARTESIAN";
    case CYLINDRICAL:
        return "CYLINDRICAL";
    case SPHERICAL:
        return "SPHERICAL";
    default:
        return "UNKNOWN";
    }
}
