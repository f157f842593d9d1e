// A still life on a stone ledge above a lake: the scene behind photo.jpg.
// y is up, z points away from the camera; an apple is about two units across.
#version 3.7;
global_settings { assumed_gamma 1.0 max_trace_level 5 }
#default { finish { ambient 0 emission 0 diffuse 0.8 } }
#declare R = seed(2718);                          // every random choice is repeatable
#macro Rnd(A, B) (A + (B - A) * rand(R)) #end
camera {
  location <0, 3.6, -13> look_at <0, 2.75, 0>
  right x * image_width / image_height angle 56
  aperture 0.21 focal_point <0, 1, -0.6>          // sharp on the ledge, soft behind it
  blur_samples 48 confidence 0.95 variance 1/6000 }

// ---- light: a low warm sun, and two shadowless lamps standing in for the sky
light_source { <-300, 260, -170> rgb <1.75, 1.5, 1.15> area_light 12*x, 12*y, 3, 3 adaptive 0 jitter }
light_source { <200, 300, -300> rgb <0.16, 0.22, 0.32> shadowless }
light_source { <0, 400, 200> rgb <0.14, 0.20, 0.28> shadowless }
sky_sphere {
  pigment { gradient y color_map {
    [0.00 rgb <0.95, 0.74, 0.52>] [0.10 rgb <0.58, 0.70, 0.82>]
    [0.26 rgb <0.16, 0.36, 0.72>] [0.70 rgb <0.04, 0.14, 0.45>] } }
  pigment { bozo turbulence 0.6 octaves 5 lambda 2.2 omega 0.5 color_map {
    [0.46 rgbt <1, 0.95, 0.9, 1>] [0.90 rgbt <1, 0.93, 0.86, 0.1>] } scale <0.4, 0.07, 0.4> rotate 20*y } }
fog { fog_type 2 distance 1200 fog_offset 10 fog_alt 25 rgb <0.50, 0.60, 0.74> }

// ---- the distance: lake, hills, a sailing boat
plane { y, -9
  pigment { rgb <0.01, 0.06, 0.09> } normal { bumps 0.22 scale <3, 1, 1.2> }
  finish { reflection { 0.02, 0.9 fresnel on } conserve_energy specular 0.5 roughness 0.01 }
  interior { ior 1.33 } }
#declare Wrinkles = function { pattern { wrinkles scale <0.16, 0.3, 1> translate 3.3*x poly_wave 1.3 } }
height_field {
  function 600, 300 { Wrinkles(x, y, 0) * min(1, 2*y, 2*(1 - y)) }   // sinks into the lake at both shores
  smooth translate <-0.5, -0.09, 0> scale <1500, 175, 380> translate <0, -9, 420>
  pigment { bozo scale 9 turbulence 0.8 color_map {
    [0.3 rgb <0.03, 0.08, 0.02>] [0.6 rgb <0.10, 0.16, 0.04>] [0.9 rgb <0.32, 0.26, 0.12>] } } }
union {
  triangle { <0, 1, 0>, <0, 15, 0>, <7, 1.6, 0> pigment { rgb <1, 0.97, 0.92> } }
  triangle { <-0.5, 1, 0>, <-0.5, 13, 0>, <-5, 1.4, 0> pigment { rgb <0.85, 0.05, 0.03> } }
  sphere { 0, 1 scale <6, 1.2, 1.5> pigment { rgb 0.9 } }
  rotate -3*z translate <18, -8.7, 190> }

// ---- the meadow: one tuft of grass as a mesh, repeated down the slope
#declare Tuft = mesh {
  #for (I, 1, 70)
    #local A = Rnd(0, 2*pi); #local P = <Rnd(-1, 1), 0, Rnd(-1, 1)>; #local H = Rnd(1.0, 2.9);
    #local W = 0.05 * <cos(A), 0, sin(A)>; #local B = Rnd(0.1, 0.9) * <sin(A), 0, cos(A)>;
    triangle { P - W, P + W, P + B*0.4 + H*0.65*y + W*0.6 }
    triangle { P - W, P + B*0.4 + H*0.65*y + W*0.6, P + B + H*y }
  #end }
#for (I, 1, 5000)
  #local Z = 3.6 + 45 * pow(rand(R), 1.5); #local X = Rnd(-1, 1) * (11 + Z * 0.8);
  #local G = <X, -1.75 - 0.125*Z + 0.6*sin(X*0.35 + 1)*sin(Z*0.17), Z>;
  object { Tuft rotate Rnd(0, 360)*y translate G
    pigment { rgb <Rnd(0.12, 0.42), Rnd(0.28, 0.46), Rnd(0.01, 0.06)> } }
  #if (mod(I, 22) = 0)                            // here and there a poppy
    sphere { 0, 0.3 scale <1, 0.75, 1> translate G + Rnd(2.1, 3.2)*y pigment { rgb <0.95, Rnd(0.02, 0.12), 0.02> } }
  #end
#end

// ---- the ledge
box { <-30, -1.5, -7>, <30, 0, 2.4>
  pigment { granite scale 0.9 color_map {
    [0 rgb <0.12, 0.11, 0.10>] [0.4 rgb <0.40, 0.37, 0.33>] [1 rgb <0.70, 0.66, 0.60>] } }
  normal { granite 0.3 scale 0.45 } finish { specular 0.12 roughness 0.05 } }

// ---- the still life: books, fruit, and a vase of daisies
#declare Glaze = finish { diffuse 0.8 specular 0.7 roughness 0.004 reflection { 0.02, 0.3 falloff 2.5 } };
#macro Book(P, Turn, Len, Thick, Cover, Title, Size, Left, Ink)
  union {
    difference { box { <-Len, 0, -1.5>, <Len, Thick, 1.5> } box { <-Len*1.1, 0.08, -1.35>, <Len*1.1, Thick - 0.08, 2> }
      pigment { Cover } finish { specular 0.25 roughness 0.03 } }
    box { <-Len + 0.1, 0.07, -1.36>, <Len - 0.1, Thick - 0.07, 1.4>
      pigment { gradient y scale 0.05 color_map { [0 rgb <0.62, 0.56, 0.44>] [0.5 rgb <0.95, 0.9, 0.8>] } } }
    text { ttf "timrom.ttf" Title 0.01, 0 scale Size translate <Left, Thick/2 - 0.31*Size, -1.508> pigment { Ink } }
    rotate Turn*y translate P }
#end
Book(<3.5, 0.00, 0.1>, 10, 2.3, 0.62, rgb <0.01, 0.08, 0.50>, "Trees, by Huffman", 0.34, -1.05, rgb 0.85)
Book(<3.4, 0.62, 0.1>, 16, 2.1, 0.50, rgb <0.70, 0.02, 0.02>, "The Cosine Reader", 0.34, -1.15, rgb <0.95, 0.70, 0.15>)
Book(<3.6, 1.12, 0.1>,  7, 1.9, 0.56, rgb <0.95, 0.60, 0.01>, "libOrv", 0.5, -0.6, rgb 0.02)
#macro PutApple(P, Tilt, Skin)
  union {
    lathe { cubic_spline 9, <-0.3, 0.35>, <0, 0.25>, <0.35, 0.02>, <0.82, 0.45>, <1, 1.08>, <0.75, 1.62>,
      <0.36, 1.70>, <0, 1.42>, <-0.3, 1.7> pigment { Skin } finish { Glaze } }
    cylinder { 1.3*y, <0.12, 2.05, 0.05>, 0.05 pigment { rgb <0.12, 0.07, 0.03> } }
    scale 0.88 rotate Tilt translate P }
#end
#declare Red = pigment { wrinkles scale <0.12, 1.6, 0.12>
  color_map { [0.2 rgb <0.50, 0.005, 0.01>] [0.6 rgb <0.66, 0.02, 0.02>] [0.9 rgb <0.80, 0.30, 0.05>] } }
PutApple(<0.2, 0, -1.9>, <0, 40, -6>, Red)
PutApple(<-1.4, 0, -0.4>, <8, 100, 5>, Red)
PutApple(<3.3, 1.68, 0.0>, <0, 0, 4>, pigment { rgb <0.30, 0.50, 0.03> })
blob { threshold 0.3 sphere { 0, 1.3, 1 } sphere { 0.85*x, 0.55, 0.7 } sphere { -0.8*x, 0.45, 0.5 }
  pigment { rgb <0.98, 0.66, 0.01> } normal { bumps 0.12 scale 0.07 } finish { specular 0.4 roughness 0.02 }
  scale 0.9 rotate -35*y translate <-2.6, 0.68, -2.4> }
lathe { cubic_spline 11, <-0.5, 0>, <0, 0>, <0.75, 0.02>, <1.25, 1.0>, <1.05, 2.1>, <0.48, 2.9>, <0.62, 3.45>,
  <0.54, 3.42>, <0.40, 2.9>, <0.9, 2.1>, <1, 1>
  pigment { gradient y scale 4 color_map { [0.42 rgb <0.01, 0.06, 0.45>] [0.43 rgb 0.85] [0.48 rgb 0.85] [0.49 rgb <0.01, 0.06, 0.45>] } }
  finish { Glaze } translate <-4.1, 0, 0> }
#macro Daisy(P, Tilt)
  cylinder { <-4.1, 2.6, 0>, P, 0.05 pigment { rgb <0.12, 0.30, 0.04> } }
  union {
    sphere { 0, 0.3 scale <1, 1, 0.6> pigment { rgb <0.98, 0.55, 0.01> } normal { bumps 0.8 scale 0.04 } }
    #for (I, 0, 19)
      sphere { 0, 1 scale <0.36, 0.09, 0.03> translate <0.6, 0, 0.02*mod(I, 3)> rotate <Rnd(-4, 4), Rnd(-12, 12), I*18> }
    #end
    pigment { rgb <0.95, 0.95, 0.93> } rotate Tilt translate P }
#end
Daisy(<-5.3, 5.0, -0.3>, <20, 35, 0>)
Daisy(<-3.9, 5.7, -0.2>, <12, -5, 0>)
Daisy(<-2.8, 4.7, -0.4>, <25, -30, 0>)
