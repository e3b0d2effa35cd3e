// Scenes that are made of others.
#include "scanner/device/scene.h"

#include <utility>

namespace device {

namespace {

class Glossy : public Scene
{
public:
    Glossy(std::shared_ptr<const Scene> scene, const Gloss& gloss) : m_scene(std::move(scene)), m_gloss(gloss)
    {}

    std::optional<Hit> Intersect(const Ray& ray) const override { return m_scene->Intersect(ray); }
    Colour Albedo(const Hit& hit) const override { return m_scene->Albedo(hit); }
    Gloss GlossOf(const Hit&) const override { return m_gloss; }
    bool Hides(const Vec3& eye, const Vec3& point) const override { return m_scene->Hides(eye, point); }

private:
    std::shared_ptr<const Scene> m_scene;
    Gloss m_gloss;
};

class Group : public Scene
{
public:
    explicit Group(std::vector<std::shared_ptr<const Scene>> parts) : m_parts(std::move(parts)) {}

    std::optional<Hit> Intersect(const Ray& ray) const override
    {
        std::optional<Hit> first;
        for (std::size_t part = 0; part < m_parts.size(); ++part) {
            const std::optional<Hit> hit = m_parts[part]->Intersect(ray);
            if (hit && !(first && first->distance <= hit->distance)) {
                first = hit;
                first->surface = hit->surface * Count() + static_cast<int>(part);
            }
        }
        return first;
    }

    Colour Albedo(const Hit& hit) const override { return m_parts[PartOf(hit)]->Albedo(InPart(hit)); }
    Gloss GlossOf(const Hit& hit) const override { return m_parts[PartOf(hit)]->GlossOf(InPart(hit)); }

private:
    int Count() const { return static_cast<int>(m_parts.size()); }

    /// The remainder that is not negative: what lies beside the patches of a chart is surface -1 of its part.
    std::size_t PartOf(const Hit& hit) const
    {
        const int remainder = hit.surface % Count();
        return static_cast<std::size_t>(remainder < 0 ? remainder + Count() : remainder);
    }

    Hit InPart(Hit hit) const
    {
        hit.surface = (hit.surface - static_cast<int>(PartOf(hit))) / Count();
        return hit;
    }

    std::vector<std::shared_ptr<const Scene>> m_parts;
};

} // namespace

std::unique_ptr<Scene> MakeGlossy(std::shared_ptr<const Scene> scene, const Gloss& gloss)
{
    return std::make_unique<Glossy>(std::move(scene), gloss);
}

std::unique_ptr<Scene> MakeGroup(std::vector<std::shared_ptr<const Scene>> parts)
{
    return std::make_unique<Group>(std::move(parts));
}

} // namespace device
