% Opens maps and parcels in Octave (package netcdf) and compares every variable with the values that
% octave_values.py wrote.
%
% usage: octave-cli check_octave.m MAPS.h5 MAPS.txt PARTICLES.h5 PARTICLES.txt

1;

function faults = compare(data_file, text_file)
  faults = 0;
  names = {ncinfo(data_file).Variables.Name};
  lines = strsplit(strtrim(fileread(text_file)), "\n");
  for i = 1:numel(lines)
    words = strsplit(lines{i}, "\t");
    name = words{1};
    if ! any(strcmp(names, name))
      printf("FAULT: no variable %s\n", name);
      faults += 1;
      continue
    end
    numbers = str2double(words(2:end));
    rank = numbers(1);
    sizes = numbers(2:1 + rank);
    wanted = numbers(2 + rank:end)(:);
    got = double(ncread(data_file, name));
    if rank == 1
      fits = numel(got) == sizes;
    else
      fits = isequal(size(got), sizes);
    end
    if ! fits
      printf("FAULT: %s has the size %s\n", name, mat2str(size(got)));
      faults += 1;
    elseif ! isequaln(got(:), wanted)
      printf("FAULT: values of %s differ\n", name);
      faults += 1;
    end
  end
  units = ncreadatt(data_file, "time", "units");
  if ! strcmp(units, "seconds since 2000-01-01 00:00:00")
    printf("FAULT: units of time: %s\n", units);
    faults += 1;
  end
  printf("Octave %s: %s: %d variables, %d faults\n", version(), data_file, numel(lines), faults);
end

pkg load netcdf
files = argv();
faults = compare(files{end - 3}, files{end - 2}) + compare(files{end - 1}, files{end});
exit(min(faults, 1));
