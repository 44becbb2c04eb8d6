#include <gtest/gtest.h>

#include "ShmSurfaceMemory.h"

#include "TestDesktop.h"
#include "X11Connection.h"
#include "X11ShmImage.h"

using namespace qcp::platform;
using namespace qcp::platform::x11;

using SharedSurfaceTest = LinuxDesktopTest;

TEST_F(SharedSurfaceTest, TheServerWritesIntoASegmentFoundByIdAndSurfacesAreFoundByTheirs) {
    const SurfaceRef surface = SurfaceRef::Adopt(CreateShmSurface(SurfaceProperties::Packed(16, 16)));
    ASSERT_TRUE(surface);
    EXPECT_EQ(SurfaceRef::Adopt(Surface::Lookup(surface->id())).get(), surface.get());

    const Window window = desktop->Open({"Shared"}, 0x00FF80, 100, 100, 200, 200);
    ASSERT_NE(window, None);
    const TestDesktop::Area client = desktop->ClientArea(window);
    std::string error;
    std::unique_ptr<X11Connection> connection = OpenConnection(session->display(), error);
    ASSERT_TRUE(connection) << error;
    std::unique_ptr<ShmSurfaceMemory> memory = ShmSurfaceMemory::Create(16 * 4 * 16);
    ASSERT_TRUE(memory);
    // The segment is already marked for removal: the server attaches it by id all the same.
    std::unique_ptr<X11ShmImage> image =
        X11ShmImage::Attach(*connection, memory->shmid(), memory->data(), 16, 16);
    ASSERT_TRUE(image);
    ASSERT_TRUE(image->Read(connection->root(), client.x + 10, client.y + 10));
    const Pixel pixel = PixelAt(memory->data(), 64, 15, 15);
    EXPECT_EQ((Pixel{pixel.b, pixel.g, pixel.r, 255}), Opaque(0x00FF80));
    // Partly off the root window: refused, and the process goes on.
    EXPECT_FALSE(image->Read(connection->root(), 1910, 10));
}
