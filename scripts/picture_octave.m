% Draws bed shear stress and the parcels of examples/inlet_waves in Octave (package netcdf).
%
% usage: octave-cli picture_octave.m PREFIX OUT.png [HOURS]
%
% Without a display it draws through gnuplot, which also needs ghostscript and fonts-freefont-otf.

1;
pkg load netcdf
words = argv();
prefix = words{1};
picture = words{2};
hours = 24;
if numel(words) > 2
  hours = str2double(words{3});
end

maps = [prefix "_maps.h5"];
x = ncread(maps, "mesh_node_x");
y = ncread(maps, "mesh_node_y");
faces = ncread(maps, "mesh_face_nodes")' + 1;  % nodes count from 0 in the file
[~, k] = min(abs(ncread(maps, "time") - 3600 * hours));
stress = ncread(maps, "shear stress")(:, k);
level = ncread(maps, "wse")(:, k);
stress(isnan(level)) = NaN;                    % dry nodes

parcels = [prefix "_particles.h5"];
[~, k] = min(abs(ncread(parcels, "time") - 3600 * hours));
px = ncread(parcels, "x")(:, k);               % NaN: not released yet, or gone
py = ncread(parcels, "y")(:, k);
printf("%d parcels in the water\n", sum(! isnan(px)));

graphics_toolkit("gnuplot");
figure("visible", "off", "position", [0 0 760 620]);
wet = ! any(isnan(stress(faces)), 2);
patch("Faces", faces(wet, :), "Vertices", [x y], "FaceVertexCData", min(stress, 4), ...
      "FaceColor", "interp", "EdgeColor", "none");
hold on
plot(px, py, "k.", "markersize", 3);
axis equal
axis([-2700 2700 -2600 2700]);
caxis([0 4]);
colorbar
title(sprintf("bed shear stress (Pa) and parcels, %g h after the start", hours));
print(picture, "-dpng", "-r80");
