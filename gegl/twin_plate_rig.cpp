// The operation "marble:twin-plate-rig" for GEGL and for programs that use it, such as GIMP. Input: the
// photograph. Aux: the new background, pixel for pixel at the photograph's place, white where it has none;
// without it the result is the subject with transparency.
//
// The backdrop is measured over the whole photograph, so the whole photograph is keyed at once. GEGL keeps
// the result and serves every region from it.
#include <gegl-plugin.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <new>
#include <utility>

#include "gegl/key_pixels.h"
#include "shell/parameter_texts.h"

namespace {

using namespace operation;

using keying::Settings;

// A property of the operation: a parameter of the filter, by its place in kParameters, and its setting.
struct Property {
    int parameter;
    double Settings::*slider;  // null: a flag
    bool Settings::*flag;
};

// In the order of the dialog. The parameter that leaves the photograph unkeyed is missing: programs switch an
// operation off themselves.
constexpr Property kProperties[] = {
    {0, &Settings::removeBackdrop, nullptr},    {1, &Settings::restoreDark, nullptr},
    {2, &Settings::alterGreen, nullptr},        {3, &Settings::selectTransparency, nullptr},
    {4, &Settings::scaleTransparency, nullptr}, {5, &Settings::backdropLevel, nullptr},
    {6, nullptr, &Settings::blendEdges},        {7, nullptr, &Settings::showMatte},
    {9, nullptr, &Settings::blueBackdrop},      {8, nullptr, &Settings::outputAlpha},
};
constexpr int kSliderMost = 200;

struct TwinPlateRig {
    GeglOperationComposer parent;
    Settings* settings;
    KeyingPlanes* planes;  // of the last run
};

struct TwinPlateRigClass {
    GeglOperationComposerClass parent;
};

GeglOperationComposerClass* gParentClass = nullptr;

TwinPlateRig& RigOf(void* object) {
    return *static_cast<TwinPlateRig*>(object);
}

// ---- Object -----------------------------------------------------------------------------------------------

void SetProperty(GObject* object, guint id, const GValue* value, GParamSpec*) {
    const Property& property = kProperties[id - 1];
    Settings& settings = *RigOf(object).settings;
    if (property.slider != nullptr) {
        settings.*property.slider = g_value_get_int(value);
    } else {
        settings.*property.flag = g_value_get_boolean(value) != FALSE;
    }
}

void GetProperty(GObject* object, guint id, GValue* value, GParamSpec*) {
    const Property& property = kProperties[id - 1];
    const Settings& settings = *RigOf(object).settings;
    if (property.slider != nullptr) {
        g_value_set_int(value, static_cast<int>(settings.*property.slider));
    } else {
        g_value_set_boolean(value, settings.*property.flag);
    }
}

void InitInstance(GTypeInstance* instance, gpointer) {
    TwinPlateRig& rig = RigOf(instance);
    rig.settings = new Settings;
    rig.planes = new KeyingPlanes;
}

void Finalize(GObject* object) {
    delete RigOf(object).planes;
    delete RigOf(object).settings;
    G_OBJECT_CLASS(gParentClass)->finalize(object);
}

// ---- Operation --------------------------------------------------------------------------------------------

GeglRectangle PhotographOf(GeglOperation* operation) {
    const GeglRectangle* box = gegl_operation_source_get_bounding_box(operation, "input");
    return box != nullptr ? *box : GeglRectangle{0, 0, 0, 0};
}

// A picture without an end cannot be measured: it passes unchanged.
bool IsKeyed(const GeglRectangle& photo) {
    return !gegl_rectangle_is_infinite_plane(&photo);
}

// 16 bits for a photograph with more than 8.
int BitsOf(const Babl* format) {
    return format == nullptr || babl_format_get_type(format, 0) == babl_type("u8") ? 8 : 16;
}

void Prepare(GeglOperation* operation) {
    const Babl* source = gegl_operation_get_source_format(operation, "input");
    const Babl* format = babl_format_with_space(BitsOf(source) == 8 ? "R'G'B'A u8" : "R'G'B'A u16",
                                                gegl_operation_get_source_space(operation, "input"));
    for (const char* pad : {"input", "aux", "output"}) gegl_operation_set_format(operation, pad, format);
}

GeglRectangle BoundingBox(GeglOperation* operation) {
    return PhotographOf(operation);
}

GeglRectangle WholePhotograph(GeglOperation* operation, const GeglRectangle* region) {
    const GeglRectangle photo = PhotographOf(operation);
    return IsKeyed(photo) ? photo : *region;
}

GeglRectangle RequiredForOutput(GeglOperation* operation, const char*, const GeglRectangle* region) {
    return WholePhotograph(operation, region);
}

GeglRectangle InvalidatedByChange(GeglOperation* operation, const char*, const GeglRectangle* region) {
    return WholePhotograph(operation, region);
}

// Rows are converted in groups, so that no second copy of the picture is needed.
constexpr int kRowsAtOnce = 64;

// Calls work(first row, rows, pixels) for groups of rows, on GEGL's threads. Throws std::bad_alloc, but not
// on those threads.
template <typename Work>
void ForRows(GeglOperation* operation, const KeyingPlanes& planes, const Work& work) {
    struct Job {
        const KeyingPlanes& planes;
        const Work& work;
        std::atomic<bool> hasMemory{true};
    } job{planes, work};
    const auto run = [](gsize offset, gsize size, gpointer data) {
        Job& shared = *static_cast<Job*>(data);
        const std::size_t bytes = static_cast<std::size_t>(shared.planes.width) * 4 *
                                  static_cast<std::size_t>(shared.planes.bits / 8) * kRowsAtOnce;
        const std::unique_ptr<std::uint8_t[]> pixels(new (std::nothrow) std::uint8_t[bytes]);
        if (pixels == nullptr) {
            shared.hasMemory = false;
            return;
        }
        const int end = static_cast<int>(offset + size);
        for (int first = static_cast<int>(offset); first < end; first += kRowsAtOnce)
            shared.work(first, std::min(kRowsAtOnce, end - first), pixels.get());
    };
    const double rowsWorthAThread = gegl_operation_get_pixels_per_thread(operation) / planes.width;
    gegl_parallel_distribute_range(static_cast<gsize>(planes.height), rowsWorthAThread, run, &job);
    if (!job.hasMemory) throw std::bad_alloc();
}

// A rectangle in the coordinates of a level, which halves the picture `level` times; at least one pixel.
GeglRectangle AtLevel(const GeglRectangle& box, int level) {
    const int left = box.x >> level, top = box.y >> level;
    return {left, top, std::max(1, ((box.x + box.width) >> level) - left),
            std::max(1, ((box.y + box.height) >> level) - top)};
}

// Keys the photograph at a level. GEGL asks for levels above 0 only where it is set to approximate reduced
// views; the inputs have no other level then.
bool KeyBuffers(GeglOperation* operation, GeglBuffer* input, GeglBuffer* aux, GeglBuffer* output, int level,
                const Babl* format) {
    const GeglRectangle photo = AtLevel(PhotographOf(operation), level);
    const double scale = 1.0 / (1 << level);
    const TwinPlateRig& rig = RigOf(operation);
    KeyingPlanes& planes = *rig.planes;
    Resize(planes, photo.width, photo.height, BitsOf(format));
    const auto rows = [&](int first, int count) {
        return GeglRectangle{photo.x, photo.y + first, photo.width, count};
    };
    // A run that fails between here and the measurement leaves other rows than those measured.
    const bool wasMeasured = std::exchange(planes.isMeasured, false);
    std::atomic<bool> changed{false};
    ForRows(operation, planes, [&](int first, int count, std::uint8_t* pixels) {
        const GeglRectangle part = rows(first, count);
        gegl_buffer_get(input, &part, scale, format, pixels, GEGL_AUTO_ROWSTRIDE, GEGL_ABYSS_NONE);
        if (StorePhotograph(planes, first, count, pixels)) changed = true;
        if (aux == nullptr) return;
        gegl_buffer_get(aux, &part, scale, format, pixels, GEGL_AUTO_ROWSTRIDE, GEGL_ABYSS_NONE);
        StoreBackground(planes, first, count, pixels);
    });
    planes.isMeasured = wasMeasured && !changed;
    Settings settings = *rig.settings;
    settings.outputAlpha = settings.outputAlpha || aux == nullptr;
    if (!KeyPhotograph(planes, settings, aux != nullptr)) return false;
    ForRows(operation, planes, [&](int first, int count, std::uint8_t* pixels) {
        const GeglRectangle part = rows(first, count);
        LoadResult(planes, settings.outputAlpha, first, count, pixels);
        gegl_buffer_set(output, &part, level, format, pixels, GEGL_AUTO_ROWSTRIDE);
    });
    return true;
}

gboolean ProcessBuffers(GeglOperation* operation, GeglBuffer* input, GeglBuffer* aux, GeglBuffer* output,
                        const GeglRectangle*, gint level) {
    const GeglRectangle photo = PhotographOf(operation);
    if (input == nullptr || photo.width <= 0 || photo.height <= 0) return TRUE;
    try {
        const Babl* format = gegl_operation_get_format(operation, "output");
        if (KeyBuffers(operation, input, aux, output, level, format)) return TRUE;
    } catch (const std::bad_alloc&) {
    }
    g_warning("marble:twin-plate-rig: not enough memory for %d x %d pixels", photo.width, photo.height);
    return FALSE;
}

gboolean Process(GeglOperation* operation, GeglOperationContext* context, const gchar* pad,
                 const GeglRectangle* region, gint level) {
    if (IsKeyed(PhotographOf(operation)))
        return GEGL_OPERATION_CLASS(gParentClass)->process(operation, context, pad, region, level);
    gegl_operation_context_take_object(context, "output",
                                       gegl_operation_context_dup_object(context, "input"));
    return TRUE;
}

void InitClass(gpointer data, gpointer) {
    gParentClass = static_cast<GeglOperationComposerClass*>(g_type_class_peek_parent(data));
    auto* object = static_cast<GObjectClass*>(data);
    object->set_property = SetProperty;
    object->get_property = GetProperty;
    object->finalize = Finalize;
    guint id = 0;
    for (const Property& p : kProperties) {
        const filter::ParameterText& text = filter::kParameterTexts[p.parameter];
        const std::int32_t value = filter::kParameters[p.parameter].defaultValue;
        const auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS);
        GParamSpec* spec =
            p.slider != nullptr
                ? g_param_spec_int(text.option, text.label, text.text, 0, kSliderMost, value, flags)
                : g_param_spec_boolean(text.option, text.label, text.text, value != 0, flags);
        g_object_class_install_property(object, ++id, spec);
    }
    auto* composer = static_cast<GeglOperationComposerClass*>(data);
    composer->process = ProcessBuffers;
    composer->aux_label = "Background";
    composer->aux_description = "The new background, of the photograph's size";
    auto* operation = static_cast<GeglOperationClass*>(data);
    operation->prepare = Prepare;
    operation->get_bounding_box = BoundingBox;
    operation->get_required_for_output = RequiredForOutput;
    operation->get_invalidated_by_change = InvalidatedByChange;
    operation->get_cached_region = WholePhotograph;
    operation->process = Process;
    operation->threaded = FALSE;  // the engine shares the rows among its own threads
    operation->cache_policy = GEGL_CACHE_POLICY_ALWAYS;
    gegl_operation_class_set_keys(
        operation, "name", "marble:twin-plate-rig", "title", "Twin Plate Rig", "categories", "marble",
        "description",
        "Take the green or blue backdrop out of a photograph and set the subject on a new background",
        "gimp:menu-path", "<Image>/Filters/Marble Frond Keeper", "gimp:menu-label", "Twin Plate Rig...",
        nullptr);
}

void RegisterType(GTypeModule* module) {
    GTypeInfo info{};
    info.class_size = sizeof(TwinPlateRigClass);
    info.class_init = InitClass;
    info.instance_size = sizeof(TwinPlateRig);
    info.instance_init = [](GTypeInstance* instance, gpointer data) { InitInstance(instance, data); };
    gegl_module_register_type(module, GEGL_TYPE_OPERATION_COMPOSER, "MarbleTwinPlateRig", &info,
                              static_cast<GTypeFlags>(0));
}

}  // namespace

extern "C" {

// The names by which GEGL finds the operation.
// NOLINTBEGIN(readability-identifier-naming)
G_MODULE_EXPORT const GeglModuleInfo* gegl_module_query(GTypeModule*) {
    static const GeglModuleInfo kInfo = {GEGL_MODULE_ABI_VERSION};
    return &kInfo;
}

G_MODULE_EXPORT gboolean gegl_module_register(GTypeModule* module) {
    RegisterType(module);
    return TRUE;
}
// NOLINTEND(readability-identifier-naming)

}  // extern "C"
