{
  'targets': [
    {
      'target_name': 'fuzz',
      'type': 'executable',
      'product_extension': '',
      'sources': ['fuzz.cpp'],
      'dependencies': ['<!(node -p "require(\'zaxbase\').targets")'],
    },
  ],
}
