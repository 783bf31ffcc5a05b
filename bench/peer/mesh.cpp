#include "mesh.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

namespace peerbench {

namespace {

std::string baseName(const std::string& path) {
    const auto slash = path.find_last_of("/\\");
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    const auto dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

bool endsWith(const std::string& s, const char* tail) {
    const std::size_t n = std::strlen(tail);
    if (s.size() < n) return false;
    for (std::size_t i = 0; i < n; ++i)
        if (std::tolower(static_cast<unsigned char>(s[s.size() - n + i])) != tail[i]) return false;
    return true;
}

// Wavefront .obj: "v x y z" and "f a b c ..." lines (a face's indices may
// carry /texture/normal parts, may be negative, and a polygon becomes a fan).
bool loadObj(std::istream& in, Mesh& mesh, std::string& error) {
    std::string line;
    std::vector<std::uint32_t> polygon;
    while (std::getline(in, line)) {
        std::istringstream words(line);
        std::string tag;
        words >> tag;
        if (tag == "v") {
            std::array<float, 3> p{};
            if (!(words >> p[0] >> p[1] >> p[2])) return error = "bad vertex line: " + line, false;
            mesh.positions.push_back(p);
        } else if (tag == "f") {
            polygon.clear();
            std::string item;
            while (words >> item) {
                long i = std::strtol(item.c_str(), nullptr, 10);
                const long count = static_cast<long>(mesh.positions.size());
                if (i < 0) i += count + 1;
                if (i < 1 || i > count) return error = "face index out of range: " + line, false;
                polygon.push_back(static_cast<std::uint32_t>(i - 1));
            }
            for (std::size_t k = 2; k < polygon.size(); ++k) mesh.faces.push_back({polygon[0], polygon[k - 1], polygon[k]});
        }
    }
    return true;
}

// 3D Studio .3ds: nested chunks of a 2-byte tag and a 4-byte length (both
// little-endian, the length counting the 6-byte header).  Each object's
// triangle mesh holds a vertex list (0x4110) and a face list (0x4120) whose
// indices count from the object's first vertex.
class Reader3ds {
public:
    explicit Reader3ds(std::vector<unsigned char> data) : d_(std::move(data)) {}

    bool load(Mesh& mesh, std::string& error) {
        if (!chunks(0, d_.size(), mesh)) return error = "malformed 3ds chunk", false;
        return true;
    }

private:
    std::uint16_t u16(std::size_t at) const { return static_cast<std::uint16_t>(d_[at] | d_[at + 1] << 8); }
    std::uint32_t u32(std::size_t at) const { return u16(at) | std::uint32_t(u16(at + 2)) << 16; }
    float f32(std::size_t at) const {
        const std::uint32_t bits = u32(at);
        float f;
        std::memcpy(&f, &bits, sizeof f);
        return f;
    }

    bool chunks(std::size_t from, std::size_t to, Mesh& mesh) {
        while (from + 6 <= to) {
            const std::uint16_t tag = u16(from);
            const std::uint32_t length = u32(from + 2);
            if (length < 6 || length > to - from) return false;
            const std::size_t body = from + 6, end = from + length;
            switch (tag) {
            case 0x4D4D:  // the file
            case 0x3D3D:  // the scene
                if (!chunks(body, end, mesh)) return false;
                break;
            case 0x4000: {  // an object: its name, then its parts
                std::size_t at = body;
                while (at < end && d_[at] != 0) ++at;
                if (!chunks(at + 1, end, mesh)) return false;
                break;
            }
            case 0x4100:  // a triangle mesh
                first_ = static_cast<std::uint32_t>(mesh.positions.size());
                if (!chunks(body, end, mesh)) return false;
                break;
            case 0x4110: {
                if (body + 2 > end) return false;
                const std::size_t n = u16(body);
                if (body + 2 + n * 12 > end) return false;
                for (std::size_t i = 0; i < n; ++i) {
                    const std::size_t at = body + 2 + i * 12;
                    mesh.positions.push_back({f32(at), f32(at + 4), f32(at + 8)});
                }
                break;
            }
            case 0x4120: {
                if (body + 2 > end) return false;
                const std::size_t n = u16(body);
                if (body + 2 + n * 8 > end) return false;
                for (std::size_t i = 0; i < n; ++i) {
                    const std::size_t at = body + 2 + i * 8;
                    std::array<std::uint32_t, 3> f{first_ + u16(at), first_ + u16(at + 2), first_ + u16(at + 4)};
                    for (std::uint32_t k : f)
                        if (k >= mesh.positions.size()) return false;
                    mesh.faces.push_back(f);
                }
                break;
            }
            default: break;  // materials, maps, lights, cameras: not needed
            }
            from = end;
        }
        return true;
    }

    std::vector<unsigned char> d_;
    std::uint32_t first_ = 0;
};

double area(const Vertex* t) {
    return std::fabs((double(t[1].x) - t[0].x) * (double(t[2].y) - t[0].y) -
                     (double(t[2].x) - t[0].x) * (double(t[1].y) - t[0].y)) / 2;
}

}  // namespace

bool loadMesh(const std::string& path, Mesh& mesh, std::string& error) {
    mesh = Mesh{};
    mesh.name = baseName(path);
    std::ifstream in(path, std::ios::binary);
    if (!in) return error = "cannot open " + path, false;
    bool ok = false;
    if (endsWith(path, ".obj")) {
        ok = loadObj(in, mesh, error);
    } else if (endsWith(path, ".3ds")) {
        std::vector<unsigned char> data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        ok = Reader3ds(std::move(data)).load(mesh, error);
    } else {
        error = "not a .obj or .3ds file: " + path;
    }
    if (ok && mesh.faces.empty()) ok = (error = path + " holds no triangles", false);
    return ok;
}

TriangleSet projectMesh(const Mesh& mesh, Mode m) {
    // The bounding box's centre goes to the origin; the camera sits on +z.
    std::array<float, 3> lo = mesh.positions[0], hi = lo;
    for (const auto& p : mesh.positions)
        for (int k = 0; k < 3; ++k) lo[k] = std::min(lo[k], p[k]), hi[k] = std::max(hi[k], p[k]);
    double centre[3], radius = 0;
    for (int k = 0; k < 3; ++k) centre[k] = (double(lo[k]) + hi[k]) / 2;
    for (const auto& p : mesh.positions) {
        double r2 = 0;
        for (int k = 0; k < 3; ++k) r2 += (p[k] - centre[k]) * (p[k] - centre[k]);
        radius = std::max(radius, std::sqrt(r2));
    }
    if (radius <= 0) radius = 1;
    const double eye = 3 * radius;
    const std::size_t n = mesh.positions.size();
    std::vector<double> px(n), py(n), depth(n);
    double x0 = 1e300, x1 = -1e300, y0 = 1e300, y1 = -1e300;
    for (std::size_t i = 0; i < n; ++i) {
        const double x = mesh.positions[i][0] - centre[0], y = mesh.positions[i][1] - centre[1];
        const double distance = eye - (mesh.positions[i][2] - centre[2]);
        px[i] = x / distance;
        py[i] = y / distance;
        depth[i] = 0.05 + 0.9 * (distance - (eye - radius)) / (2 * radius);
        x0 = std::min(x0, px[i]), x1 = std::max(x1, px[i]);
        y0 = std::min(y0, py[i]), y1 = std::max(y1, py[i]);
    }
    const double scale = 0.75 * std::min(kWidth / std::max(x1 - x0, 1e-30), kHeight / std::max(y1 - y0, 1e-30));
    const double mx = (x0 + x1) / 2, my = (y0 + y1) / 2;

    // Vertex normals: the sum of the faces' area-weighted normals.
    std::vector<std::array<double, 3>> normal(n, {0, 0, 0});
    for (const auto& f : mesh.faces) {
        const auto &a = mesh.positions[f[0]], &b = mesh.positions[f[1]], &c = mesh.positions[f[2]];
        const double e1[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]}, e2[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
        const double fn[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2], e1[0] * e2[1] - e1[1] * e2[0]};
        for (std::uint32_t i : f)
            for (int k = 0; k < 3; ++k) normal[i][k] += fn[k];
    }
    const double light[3] = {0.36, 0.48, 0.8};  // unit length: from the upper right, towards the viewer
    std::vector<std::uint32_t> colour(n);
    for (std::size_t i = 0; i < n; ++i) {
        const auto& v = normal[i];
        const double length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
        const double lit = length > 0 ? std::fabs(v[0] * light[0] + v[1] * light[1] + v[2] * light[2]) / length : 0;
        const double shade = 0.2 + 0.8 * lit;
        const auto channel = [&](double base) { return std::uint32_t(std::lround(255 * base * shade)); };
        const std::uint32_t alpha = modeIsBlended(m) ? 0x40 + std::uint32_t(i * 2654435761u >> 24) % 0x81 : 0xFF;
        colour[i] = alpha << 24 | channel(1.0) << 16 | channel(0.75) << 8 | channel(0.45);
    }

    TriangleSet set;
    set.label = mesh.name;
    set.vertices.reserve(mesh.faces.size() * 3);
    for (const auto& f : mesh.faces) {
        for (std::uint32_t i : f) {
            Vertex v;
            v.x = static_cast<float>(kWidth / 2.0 + scale * (px[i] - mx));
            v.y = static_cast<float>(kHeight / 2.0 - scale * (py[i] - my));
            v.z = static_cast<float>(depth[i]);
            v.argb = colour[modeIsFlat(m) ? f[0] : i];
            v.u = v.x / kTextureSize;
            v.v = v.y / kTextureSize;
            set.vertices.push_back(v);
        }
        set.coveredPixels += area(&set.vertices[set.vertices.size() - 3]);
    }
    set.nominalPixels = set.coveredPixels / double(mesh.faces.size());
    return set;
}

double medianArea(const TriangleSet& set) {
    std::vector<double> areas;
    areas.reserve(set.triangles());
    for (std::size_t i = 0; i < set.vertices.size(); i += 3) areas.push_back(area(&set.vertices[i]));
    if (areas.empty()) return 0;
    std::nth_element(areas.begin(), areas.begin() + areas.size() / 2, areas.end());
    return areas[areas.size() / 2];
}

}  // namespace peerbench
