#pragma once
#include <cairo.h>
#include <glib-object.h>

#include <memory>

// Owning pointers for the GObjects and cairo surfaces the overlay keeps, so
// each is released once, wherever its holder goes.
namespace qcp::platform::gtk {

struct GObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <class T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

struct CairoSurfaceDestroy {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
using CairoSurfacePtr = std::unique_ptr<cairo_surface_t, CairoSurfaceDestroy>;

} // namespace qcp::platform::gtk
